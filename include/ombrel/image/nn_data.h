// NNData: the record in which image data crosses the model interface.
#pragma once

#include <cstdint>

#include "ombrel/export.h"
#include "ombrel/image/data_types.h"

namespace OMB {

/// Describes a dense block of channels x width x height samples and the buffer that holds it. There
/// is no batch axis and no row stride. The element count must fit a signed 32-bit integer.
///
/// Ownership: a record with `isView` false owns `data`, an array allocation of its element type,
/// and releases it. A record with `isView` true never allocates and never releases; whoever made it
/// keeps the buffer alive for as long as the record is used.
///
/// Threads: no lock and no shared state. Distinct records may be used at the same time.
struct OMBREL_API NNData {
  /// A view (`isView` true) keeps the caller's `data`, which may be null. An owner allocates a
  /// buffer for `type` and copies `data` into it; with null `data` the new buffer stays
  /// uninitialised. An owner of a type other than U8 and FP32 gets no buffer. `data` stays the
  /// caller's in every case.
  ///
  /// Throws std::bad_alloc when the allocation fails or an owner's element count is negative or
  /// does not fit a signed 32-bit integer.
  NNData(void* data, std::int32_t channels, std::int32_t width, std::int32_t height,
         ImageUtils::ELayoutType layout, EDataType type, bool isView);

  /// A copy of a view is a view of the same buffer; a copy of an owner owns a copy of the buffer.
  /// Throws std::bad_alloc as the constructor does.
  NNData(const NNData& other);

  /// As the copy constructor, and releases the buffer that this record owned. When the allocation
  /// throws, this record is unchanged. Assigning a record to itself changes nothing.
  NNData& operator=(const NNData& other);

  virtual ~NNData();

  /// First element of the buffer, owned or not; null if there is none.
  void* getData() const noexcept { return data; }

  ImageUtils::ELayoutType layout;  ///< memory order of the block
  EDataType type;                  ///< element type of the block
  std::int32_t channels;           ///< number of channels
  std::int32_t width;              ///< samples in a row
  std::int32_t height;             ///< number of rows
  bool isView;                     ///< true: the buffer belongs to somebody else
  void* data;                      ///< first element of the buffer, null if there is none
};

}  // namespace OMB
