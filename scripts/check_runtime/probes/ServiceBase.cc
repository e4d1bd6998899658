// The base of Service, which has a virtual destructor and a member service().
// No object of it is made: what the base leaves abstract is for the user's
// server.
#include "probe.h"

namespace probe {
class Service : public ::qarn::rpc::ServiceBase {
 public:
  Service() : _service(NULL) {}
  virtual ~Service();
  virtual ::qarn::rpc::RpcService* service();

 private:
  ::qarn::rpc::RpcService* _service;
};

Service::~Service() {}

::qarn::rpc::RpcService* Service::service() { return _service; }
}  // namespace probe
