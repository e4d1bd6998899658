// Made from the service's full name, and deleted.
#include "probe.h"

namespace probe {
struct Service {
  static const char* full_name() { return "probe.Service"; }
  Service() : _service(NULL) {}
  ~Service();
  ::qarn::rpc::RpcService* service();
  ::qarn::rpc::RpcService* _service;
};

Service::~Service() { delete _service; }

::qarn::rpc::RpcService* Service::service() {
  _service = new ::qarn::rpc::RpcService(Service::full_name());
  return _service;
}
}  // namespace probe
