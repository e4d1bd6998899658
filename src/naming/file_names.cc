#include "naming/file_names.h"

#include <boost/algorithm/string/erase.hpp>
#include <boost/algorithm/string/predicate.hpp>
#include <cstring>

#include "text/split.h"

namespace qarn {
namespace rpc {

std::string OutputBaseName(const std::string& file_name) {
  // The longer suffix comes first; only one is ever removed.
  for (const char* suffix : {".protodevel", ".proto"}) {
    if (boost::algorithm::ends_with(file_name, suffix)) {
      return boost::algorithm::erase_tail_copy(
          file_name, static_cast<int>(std::strlen(suffix)));
    }
  }
  return file_name;
}

std::vector<std::string> PackageParts(
    const google::protobuf::FileDescriptor* file) {
  const std::string package(file->package());
  if (package.empty()) {
    return {};
  }
  return Split(package, '.');
}

}  // namespace rpc
}  // namespace qarn
