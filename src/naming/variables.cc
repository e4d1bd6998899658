#include "naming/variables.h"

#include "naming/file_names.h"
#include "naming/names.h"
#include "naming/streaming_kind.h"

namespace qarn {
namespace rpc {

using google::protobuf::FileDescriptor;
using google::protobuf::MethodDescriptor;

void SetFilenameVars(const FileDescriptor* file, VariableMap* vars) {
  const std::string filename(file->name());
  (*vars)[keys::kFilename] = filename;
  (*vars)[keys::kFilenameBase] = OutputBaseName(filename);
}

void SetPackageVars(const FileDescriptor* file, VariableMap* vars) {
  const std::string package(file->package());
  (*vars)[keys::kPackage] = package;
  (*vars)[keys::kPackageDot] = package.empty() ? "" : package + ".";
}

void SetMethodVars(const MethodDescriptor* method,
                   std::map<std::string, std::string>& variables) {
  const std::string name(method->name());
  const std::string request = MessageClassName(method->input_type(), false);
  const std::string response = MessageClassName(method->output_type(), false);

  variables[keys::kMethod] = name;
  variables[keys::kMethodRpcType] = std::string("::qarn::rpc::") +
                                    RpcMethodTypeName(GetStreamingKind(method));
  variables[keys::kRequest] = MessageClassName(method->input_type(), true);
  variables[keys::kRequestNoNs] = request;
  variables[keys::kRequestCallObserverPtr] = request + "CallObserverPtr";
  variables[keys::kClientCallPtr] = name + "ClientCallPtr";
  variables[keys::kServerCallPtr] = name + "ServerCallPtr";
  variables[keys::kServerCallHandle] = name + "CallHandle";
  variables[keys::kResponse] = MessageClassName(method->output_type(), true);
  variables[keys::kResponseNoNs] = response;
  variables[keys::kResponseStreamWriterPtr] = response + "StreamWriterPtr";
  variables[keys::kResponseCallObserver] = response + "CallObserverPtr";
}

}  // namespace rpc
}  // namespace qarn
