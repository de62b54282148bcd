// The way up of a photo, of a JPEG file that anybody may have written.
#include <algorithm>
#include <cstddef>
#include <vector>

#include "exif_orientation.h"
#include "fuzz_input.h"

void OMB::fuzz::run(Input input) {
  // In memory of its own size, behind whose end a sanitizer sees every read.
  const ByteVector rest = input.rest();
  const std::vector<unsigned char> file(rest.begin(), rest.end());
  const int orientation = tool::exifOrientation(file);
  REQUIRE(orientation >= 1 && orientation <= 8);
  REQUIRE(tool::exifOrientation(file) == orientation);

  tool::Image image{{3, 2}, std::vector<unsigned char>(18)};
  for (std::size_t i = 0; i < image.samples.size(); ++i) {
    image.samples[i] = static_cast<unsigned char>(i);
  }
  tool::Image upright = tool::turnUpright(image, orientation);
  REQUIRE(upright.size.width == (orientation < 5 ? 3 : 2));
  REQUIRE(upright.samples.size() == image.samples.size());
  std::sort(upright.samples.begin(), upright.samples.end());
  REQUIRE(upright.samples == image.samples);  // every pixel is there once
}
