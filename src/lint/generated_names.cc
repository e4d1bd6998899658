#include "lint/generated_names.h"

#include "lint/keywords.h"
#include "lint/run.h"
#include "naming/names.h"
#include "naming/streaming_kind.h"
#include "naming/variables.h"

namespace qarn {
namespace rpc {

using google::protobuf::Descriptor;
using google::protobuf::EnumDescriptor;
using google::protobuf::FileDescriptor;
using google::protobuf::MethodDescriptor;
using google::protobuf::ServiceDescriptor;

namespace {

// Calls `visit(other)` for each file that `file` is or imports and that has its
// package.
template <typename Visit>
void ForEachFileOfPackage(const FileDescriptor* file, const Visit& visit) {
  for (const FileDescriptor* other : WithImports(file)) {
    if (std::string(other->package()) == std::string(file->package())) {
      visit(other);
    }
  }
}

// The name of the C++ enumeration: "Outer_Kind".
std::string EnumName(const EnumDescriptor* enumeration) {
  const Descriptor* parent = enumeration->containing_type();
  return (parent == nullptr ? "" : ProtobufClassName(parent) + "_") +
         std::string(enumeration->name());
}

}  // namespace

MadeMembers MadeMembersOf(const ServiceDescriptor* service) {
  MadeMembers made;
  VariableMap vars;
  ForEachMethod(service, [&](const MethodDescriptor* method) {
    SetMethodVars(method, vars);
    made.service.insert(vars[keys::kClientCallPtr]);
    made.stub.insert("_rpcmethod_" + vars[keys::kMethod]);
    made.stub.insert(vars[keys::kResponseCallObserver]);
    made.server.insert(vars[keys::kServerCallHandle]);
    if (ClientStreams(GetStreamingKind(method))) {
      made.server.insert(vars[keys::kRequestCallObserverPtr]);
    }
  });
  return made;
}

std::vector<std::string> MacrosOf(const ServiceDescriptor* service) {
  const std::string prefix = MacroPrefix(std::string(service->name()));
  return {prefix, prefix + "_METHOD_NAMES", prefix + "_METHODS",
          prefix + "_METHOD"};
}

bool MacroChanges(const ServiceDescriptor* service, const std::string& word) {
  const std::string name(service->name());
  return word == MacroPrefix(name) && word != name;
}

std::string EnumeratorOf(const MethodDescriptor* method) {
  return std::string(method->service()->name()) + "_" +
         std::string(method->name());
}

DeclaredNames TypesInPackage(const FileDescriptor* file) {
  DeclaredNames names;
  ForEachFileOfPackage(file, [&](const FileDescriptor* other) {
    ForEachMessage(other, [&](const Descriptor* message) {
      names.emplace(ProtobufClassName(message),
                    "the message " + std::string(message->full_name()));
    });
    ForEachEnum(other, [&](const EnumDescriptor* enumeration) {
      names.emplace(EnumName(enumeration),
                    "the enum " + std::string(enumeration->full_name()));
    });
  });
  return names;
}

DeclaredNames ValuesInPackage(const FileDescriptor* file) {
  DeclaredNames names;
  ForEachFileOfPackage(file, [&](const FileDescriptor* other) {
    ForEachEnum(other, [&](const EnumDescriptor* enumeration) {
      const std::string prefix = enumeration->containing_type() == nullptr
                                     ? ""
                                     : EnumName(enumeration) + "_";
      for (int i = 0; i < enumeration->value_count(); ++i) {
        const auto* value = enumeration->value(i);
        names.emplace(prefix + std::string(value->name()),
                      "the enum value " + std::string(value->full_name()));
      }
    });
    for (int i = 0; i < other->extension_count(); ++i) {
      names.emplace(
          std::string(other->extension(i)->name()),
          "the extension " + std::string(other->extension(i)->full_name()));
    }
  });
  return names;
}

}  // namespace rpc
}  // namespace qarn
