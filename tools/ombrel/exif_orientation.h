// The way up of a photo.
#pragma once

#include <span>

#include "image_file.h"

namespace OMB::tool {

/// How the camera was held, 1 to 8 as Exif counts, by the first Exif segment of a JPEG file. 1, as
/// it is stored, for all other files and for segments that are damaged.
int exifOrientation(std::span<const unsigned char> file);

/// The image as it was seen, from the one that was stored with this orientation.
Image turnUpright(Image image, int orientation);

}  // namespace OMB::tool
