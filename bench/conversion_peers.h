// The fastest public libraries that do a conversion of ours word for word.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "ombrel/image/transform_image.h"

namespace OMB::bench {

/// All of an image at once, of the channels that it was asked for.
template <typename S, typename D>
using Conversion = std::function<void(const S* src, D* dst, int width, int height)>;

template <typename S, typename D>
struct Peer {
  std::string name;
  Conversion<S, D> convert;
};

/// Those that can convert images of 3 or 4 channels between the two orders: bytes or floats from
/// pixels to planes, bytes from there to floats, and floats in planes to bytes in pixels. Others
/// have none. Each uses one thread.
template <typename S, typename D>
std::vector<Peer<S, D>> conversionPeers(ImageUtils::ELayoutType from, ImageUtils::ELayoutType to,
                                        int channels);

/// Throws std::runtime_error with the peer's name if it gives other samples than ours for these.
/// blobFromImage multiplies in double precision and then rounds, which is a last bit now and then;
/// from all others each bit is asked for. `dst` and `expected` have room for the image.
template <typename S, typename D>
void requireSame(const Peer<S, D>& peer, const S* src, const D* expected, D* dst, int width,
                 int height, int channels);

}  // namespace OMB::bench
