#include "support/files.h"

#include <stdlib.h>

#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

namespace qarn {
namespace rpc {
namespace testing {

TemporaryFolder::TemporaryFolder() {
  std::string name =
      (std::filesystem::temp_directory_path() / "qarn_rpc_test_XXXXXX")
          .string();
  if (mkdtemp(name.data()) == nullptr) {
    throw std::runtime_error("cannot make a folder like " + name);
  }
  path_ = name;
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

void TemporaryFolder::Write(const std::string& name,
                            const std::string& text) const {
  const std::filesystem::path path = path_ / name;
  std::filesystem::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << text;
}

std::string ReadFile(const std::filesystem::path& path) {
  std::ifstream stream(path, std::ios::binary);
  if (!stream) {
    throw std::runtime_error("cannot read " + path.string());
  }
  return std::string(std::istreambuf_iterator<char>(stream), {});
}

std::map<std::string, std::string> FilesBelow(
    const std::filesystem::path& folder) {
  std::map<std::string, std::string> files;
  for (const auto& entry :
       std::filesystem::recursive_directory_iterator(folder)) {
    if (entry.is_regular_file()) {
      files[entry.path().lexically_relative(folder).generic_string()] =
          ReadFile(entry.path());
    }
  }
  return files;
}

}  // namespace testing
}  // namespace rpc
}  // namespace qarn
