// Files and folders for tests.

#ifndef QARN_RPC_TESTS_SUPPORT_FILES_H_
#define QARN_RPC_TESTS_SUPPORT_FILES_H_

#include <filesystem>
#include <map>
#include <string>

namespace qarn {
namespace rpc {
namespace testing {

// A fresh folder, removed with all its contents by the destructor.
class TemporaryFolder {
 public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }

  // Writes `text` to the file `name` in the folder and creates the folders on
  // the way.
  void Write(const std::string& name, const std::string& text) const;

 private:
  std::filesystem::path path_;
};

// The contents of the file `path`; throws std::runtime_error without one.
std::string ReadFile(const std::filesystem::path& path);

// The files below `folder`: from path in it to contents.
std::map<std::string, std::string> FilesBelow(
    const std::filesystem::path& folder);

}  // namespace testing
}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_TESTS_SUPPORT_FILES_H_
