#include "ombrel/version.h"

#define OMBREL_QUOTE(number) #number
#define OMBREL_TEXT(number) OMBREL_QUOTE(number)

namespace OMB {

int loadedVersion() noexcept {
  return OMBREL_VERSION_COMPILED;
}

const char* loadedVersionText() noexcept {
  return OMBREL_TEXT(OMBREL_VERSION_MAJOR) "." OMBREL_TEXT(OMBREL_VERSION_MINOR) "." OMBREL_TEXT(
      OMBREL_VERSION_PATCH);
}

}  // namespace OMB
