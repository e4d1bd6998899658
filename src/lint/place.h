// Where in a .proto file a finding stands: the path of an element in its file's
// descriptor, which protoc's source information turns into line and column.

#ifndef QARN_RPC_LINT_PLACE_H_
#define QARN_RPC_LINT_PLACE_H_

#include <google/protobuf/descriptor.h>

#include <string>
#include <vector>

namespace qarn {
namespace rpc {

// An element of a file, or a parameter of the run.
struct Place {
  // Null for a parameter.
  const google::protobuf::FileDescriptor* file = nullptr;
  // The field numbers and indices that lead to the element, as in the locations
  // of google.protobuf.SourceCodeInfo; empty for the file as a whole.
  std::vector<int> path;
  // What stands for line and column where there are none: the element's full
  // name, or the parameter as it was given.
  std::string name;
};

// The declaration of an element.
Place PlaceOf(const google::protobuf::ServiceDescriptor* service);
Place PlaceOf(const google::protobuf::MethodDescriptor* method);
Place PlaceOf(const google::protobuf::Descriptor* message);
Place PlaceOf(const google::protobuf::EnumDescriptor* enumeration);
Place PlaceOf(const google::protobuf::EnumValueDescriptor* value);
// Also of an extension.
Place PlaceOf(const google::protobuf::FieldDescriptor* field);

// The file itself: its first line.
Place PlaceOfFile(const google::protobuf::FileDescriptor* file);
// The line with `package`; the file, if it has none.
Place PlaceOfPackage(const google::protobuf::FileDescriptor* file);
// The import with that index among the file's imports.
Place PlaceOfImport(const google::protobuf::FileDescriptor* file, int index);
// The line that sets an option, by the option's number.
Place PlaceOfOption(const google::protobuf::FileDescriptor* file, int number);
Place PlaceOfOption(const google::protobuf::MethodDescriptor* method,
                    int number);
// A parameter of the run, such as "services_namespace=a b".
Place PlaceOfParameter(const std::string& parameter);

}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_LINT_PLACE_H_
