// How an input comes to a target: from libFuzzer, or from the files of the folders that are named.
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "fuzz_input.h"

#if defined(OMBREL_LIBFUZZER)
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  OMB::fuzz::run({data, size});
  return 0;
}
#else
int main(int count, char** folders) {
  int inputs = 0;
  for (int i = 1; i < count; ++i) {
    for (const auto& entry : std::filesystem::directory_iterator(folders[i])) {
      std::ifstream file(entry.path(), std::ios::binary);
      const std::vector<std::uint8_t> bytes{std::istreambuf_iterator<char>(file), {}};
      OMB::fuzz::run({bytes.data(), bytes.size()});
      ++inputs;
    }
  }
  return inputs == 0 ? 1 : 0;  // a corpus that is not there proves nothing
}
#endif
