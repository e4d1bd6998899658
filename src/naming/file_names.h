// What is derived from a file's name and package: the base name of the two
// generated files and the names of the namespaces around their contents.

#ifndef QARN_RPC_NAMING_FILE_NAMES_H_
#define QARN_RPC_NAMING_FILE_NAMES_H_

#include <google/protobuf/descriptor.h>

#include <string>
#include <vector>

namespace qarn {
namespace rpc {

// The file's name less one known suffix, directories kept. ".protodevel" is
// looked for first, then ".proto"; a name with neither is kept whole.
//
//   "a/b/svc.proto"      -> "a/b/svc"
//   "x.proto.protodevel" -> "x.proto"
//   "svc.txt"            -> "svc.txt"
std::string OutputBaseName(const std::string& file_name);

// The components of the file's package, outermost first: a.b.c gives "a", "b"
// and "c". A file without a package gives none.
std::vector<std::string> PackageParts(
    const google::protobuf::FileDescriptor* file);

}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_NAMING_FILE_NAMES_H_
