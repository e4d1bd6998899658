// Runs a fuzz target over files that are kept, and checks the properties
// for each: for any compiler, without libFuzzer.
//
//   replay FOLDER_OR_FILE...
//
// Ends with status 0 if there was at least one input and no finding. A finding
// aborts; the last line that was printed names its input.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size);

namespace {

// The files that `path` stands for, sorted.
std::vector<std::filesystem::path> Inputs(const std::filesystem::path& path) {
  std::vector<std::filesystem::path> inputs;
  if (!std::filesystem::is_directory(path)) {
    return {path};
  }
  for (const auto& entry : std::filesystem::directory_iterator(path)) {
    inputs.push_back(entry.path());
  }
  std::sort(inputs.begin(), inputs.end());
  return inputs;
}

}  // namespace

int main(int argc, char* argv[]) {
  std::size_t count = 0;
  for (int i = 1; i < argc; ++i) {
    for (const std::filesystem::path& input : Inputs(argv[i])) {
      std::cout << input.string() << std::endl;
      std::ifstream stream(input, std::ios::binary);
      if (!stream) {
        std::cerr << "cannot read " << input.string() << "\n";
        return 1;
      }
      const std::string bytes(std::istreambuf_iterator<char>(stream), {});
      LLVMFuzzerTestOneInput(
          reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
      ++count;
    }
  }
  std::cout << count << " inputs\n";
  if (count == 0) {
    std::cerr << "no input: name a folder or a file that holds some\n";
    return 1;
  }
  return 0;
}
