// Replays fuzz inputs without the fuzzer: a plain main that feeds every file
// named on the command line, or found under a folder named there, to the
// target's LLVMFuzzerTestOneInput, in name order. Built with any compiler,
// so that ctest replays the committed corpora in every build.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv) {
  namespace fs = std::filesystem;
  std::vector<fs::path> inputs;
  for (int i = 1; i < argc; ++i) {
    std::error_code error;
    if (fs::is_directory(argv[i], error)) {
      for (const fs::directory_entry& entry : fs::recursive_directory_iterator(argv[i]))
        if (entry.is_regular_file()) inputs.push_back(entry.path());
    } else {
      inputs.emplace_back(argv[i]);
    }
  }
  std::sort(inputs.begin(), inputs.end());
  if (inputs.empty()) {
    std::fprintf(stderr, "no inputs\n");
    return 1;
  }
  for (const fs::path& input : inputs) {
    std::ifstream file(input, std::ios::binary);
    if (!file) {
      std::fprintf(stderr, "cannot read %s\n", input.string().c_str());
      return 1;
    }
    const std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    // A copy of exactly the input's size, so that a read past it is caught.
    const auto copy = std::make_unique<uint8_t[]>(bytes.size() + (bytes.empty() ? 1 : 0));
    std::copy(bytes.begin(), bytes.end(), copy.get());
    LLVMFuzzerTestOneInput(copy.get(), bytes.size());
  }
  std::printf("%zu inputs replayed\n", inputs.size());
  return 0;
}
