// The base of Stub, which hands its four arguments on and overrides nothing.
#include <string>

#include "probe.h"

namespace probe {
class Stub : public ::qarn::rpc::StubBase {
 public:
  Stub(const std::string& client_name, const std::string& endpoint,
       const ::qarn::rpc::ClientContext& context,
       const boost::shared_ptr< ::qarn::rpc::Channel>& channel);
};

Stub::Stub(const std::string& client_name, const std::string& endpoint,
           const ::qarn::rpc::ClientContext& context,
           const boost::shared_ptr< ::qarn::rpc::Channel>& channel)
    : ::qarn::rpc::StubBase(client_name, endpoint, context, channel) {}

void Make(const ::qarn::rpc::ClientContext& context,
          const boost::shared_ptr< ::qarn::rpc::Channel>& channel);

void Make(const ::qarn::rpc::ClientContext& context,
          const boost::shared_ptr< ::qarn::rpc::Channel>& channel) {
  Stub stub("client", "endpoint", context, channel);
  (void)stub;
}
}  // namespace probe
