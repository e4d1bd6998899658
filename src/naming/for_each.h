// The two loops that every emitter runs, always in declaration order.

#ifndef QARN_RPC_NAMING_FOR_EACH_H_
#define QARN_RPC_NAMING_FOR_EACH_H_

#include <google/protobuf/descriptor.h>

namespace qarn {
namespace rpc {

// Calls `visit(service)` for each service of `file`.
template <typename Visit>
void ForEachService(const google::protobuf::FileDescriptor* file,
                    const Visit& visit) {
  for (int i = 0; i < file->service_count(); ++i) {
    visit(file->service(i));
  }
}

// Calls `visit(method)` for each method of `service`.
template <typename Visit>
void ForEachMethod(const google::protobuf::ServiceDescriptor* service,
                   const Visit& visit) {
  for (int i = 0; i < service->method_count(); ++i) {
    visit(service->method(i));
  }
}

}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_NAMING_FOR_EACH_H_
