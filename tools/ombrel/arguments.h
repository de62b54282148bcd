// The words of the command line, in UTF-8.
#pragma once

#include <span>
#include <string>
#include <vector>

namespace OMB::tool {

/// Takes what main was given. Where the system has the words in another form, they are made anew,
/// and its own copies are overwritten if a key may be among them.
class Arguments {
 public:
  Arguments(int count, char** words);

  std::span<char*> get() { return pointers; }

 private:
  std::vector<std::string> texts;
  std::vector<char*> pointers;
};

}  // namespace OMB::tool
