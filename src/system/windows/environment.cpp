#include "system/environment.h"

#include <string>

#include "system/windows/windows_calls.h"

namespace OMB::system {

void setEnvironment(const char* name, const char* value) {
  _putenv((std::string(name) + "=" + value).c_str());
}

}  // namespace OMB::system
