// A class template of one type, which boost::intrusive_ptr can point to.
#include "probe.h"

namespace probe {
typedef boost::intrusive_ptr< ::qarn::rpc::CallHandle< ::check::Request> >
    Handle;

void Take(const Handle& handle);
void Pass(const Handle& handle);

void Pass(const Handle& handle) { Take(handle); }
}  // namespace probe
