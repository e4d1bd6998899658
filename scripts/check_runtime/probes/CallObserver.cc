// A class template of one type. Generated code only passes pointers on.
#include "probe.h"

namespace probe {
typedef ::qarn::rpc::CallObserver< ::check::Response> Observer;
typedef ::qarn::rpc::CallObserver< ::check::Request>* ObserverPtr;

void Take(Observer* observer);
ObserverPtr Pass(Observer* observer, ObserverPtr requests);

ObserverPtr Pass(Observer* observer, ObserverPtr requests) {
  Take(observer);
  return requests;
}
}  // namespace probe
