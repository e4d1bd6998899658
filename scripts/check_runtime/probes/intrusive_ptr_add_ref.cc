// Copying a handle. Nothing here lets one go.
#include "probe.h"

namespace probe {
typedef boost::intrusive_ptr< ::qarn::rpc::CallHandle< ::check::Request> >
    Handle;

Handle* Copy(const Handle& handle);

Handle* Copy(const Handle& handle) { return new Handle(handle); }
}  // namespace probe
