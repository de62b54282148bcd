#include "arguments.h"

namespace OMB::tool {

Arguments::Arguments(int count, char** words) : pointers(words, words + count) {}

}  // namespace OMB::tool
