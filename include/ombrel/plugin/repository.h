// Repository: an ordered list, such as the dependencies of a plug-in.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace OMB {

/// Owns its elements by value; a copy is a full copy in the same order.
/// Threads: one object is used by one thread at a time; const operations may overlap.
template <typename T>
class Repository {
 public:
  /// Appends an element.
  void Add(T item) { items.push_back(std::move(item)); }

  /// The first element, which stays the repository's, or null when there is none.
  virtual T* GetFirst() { return items.empty() ? nullptr : items.data(); }

  /// Number of elements.
  std::int32_t GetCount() const noexcept { return static_cast<std::int32_t>(items.size()); }

  /// Element `index`, counted from 0. Throws std::out_of_range outside the list, below 0 included.
  const T& GetAt(std::int32_t index) const { return items.at(static_cast<std::size_t>(index)); }

 private:
  std::vector<T> items;
};

}  // namespace OMB
