#include "probe.h"

namespace probe {
void Take(const boost::shared_ptr< ::qarn::rpc::Channel>& channel);
void Pass(const boost::shared_ptr< ::qarn::rpc::Channel>& channel);

void Pass(const boost::shared_ptr< ::qarn::rpc::Channel>& channel) {
  Take(channel);
}
}  // namespace probe
