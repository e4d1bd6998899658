// Part of the example runtime (see qarn/rpc.h): a service as a
// server sees it, a list of methods that calls can be started on.
#ifndef QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_SERVICE_H_
#define QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_SERVICE_H_

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "qarn/rpc/call.h"
#include "qarn/rpc/context.h"
#include "qarn/rpc/method.h"
#include "qarn/rpc/status.h"

namespace qarn {
namespace rpc {

// Base of every generated Service. Not copyable: a copy of a generated Service
// would own the same RpcService a second time.
class ServiceBase {
 public:
  ServiceBase(const ServiceBase&) = delete;
  ServiceBase& operator=(const ServiceBase&) = delete;
  virtual ~ServiceBase() {}

 protected:
  ServiceBase() {}
};

// One method of a service, whatever its message types.
class RpcServiceMethod {
 public:
  explicit RpcServiceMethod(const RpcMethod& method) : method_(method) {}
  RpcServiceMethod(const RpcServiceMethod&) = delete;
  RpcServiceMethod& operator=(const RpcServiceMethod&) = delete;
  virtual ~RpcServiceMethod() {}

  const RpcMethod& method() const { return method_; }

  // Starts a call whose answers go to `responses`. The result takes the
  // requests; it is null if the handler threw, and `responses` is then closed.
  virtual ByteObserverPtr Start(const ClientContext& context,
                                ByteSenderPtr responses) = 0;

 private:
  RpcMethod method_;
};

// The methods of one service under its full name, in the order of AddMethod.
class RpcService {
 public:
  // "a.b.Echo"
  explicit RpcService(const std::string& full_name) : full_name_(full_name) {}
  RpcService(const RpcService&) = delete;
  RpcService& operator=(const RpcService&) = delete;

  const std::string& full_name() const { return full_name_; }

  // Takes ownership.
  void AddMethod(RpcServiceMethod* method) {
    methods_.push_back(std::unique_ptr<RpcServiceMethod>(method));
  }

  std::size_t method_count() const { return methods_.size(); }
  // `index` must be below method_count().
  const RpcMethod& method(std::size_t index) const {
    return methods_[index]->method();
  }

  // By full name, such as "a.b.Echo/Ping"; null if there is none.
  RpcServiceMethod* FindMethod(const std::string& full_name) const {
    for (const std::unique_ptr<RpcServiceMethod>& candidate : methods_) {
      if (full_name == candidate->method().full_name()) return candidate.get();
    }
    return nullptr;
  }

 private:
  std::string full_name_;
  std::vector<std::unique_ptr<RpcServiceMethod>> methods_;
};

// The services of one server, by full name: two objects of the same service
// need two servers.
class ServiceTable {
 public:
  ServiceTable() {}
  ServiceTable(const ServiceTable&) = delete;
  ServiceTable& operator=(const ServiceTable&) = delete;

  // Makes the service reachable under its full name. Returns false, and changes
  // nothing, if that name is taken. The service stays its owner's.
  bool Register(RpcService* service) {
    return services_.insert(std::make_pair(service->full_name(), service))
        .second;
  }

  // Null if there is no such service or method; `status` then says which.
  RpcServiceMethod* Find(const std::string& service, const std::string& method,
                         Status* status) const {
    const std::map<std::string, RpcService*>::const_iterator found =
        services_.find(service);
    if (found == services_.end()) {
      *status = Status(StatusCode::kUnknownService,
                       "no service " + service + " is registered");
      return nullptr;
    }
    RpcServiceMethod* const target = found->second->FindMethod(method);
    if (!target) {
      *status = Status(StatusCode::kUnknownMethod,
                       "no method " + method + " is known");
    }
    return target;
  }

 private:
  std::map<std::string, RpcService*> services_;  // by full name
};

}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_SERVICE_H_
