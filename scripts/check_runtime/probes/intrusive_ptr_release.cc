// Letting a handle go. Nothing here copies one.
#include "probe.h"

namespace probe {
typedef boost::intrusive_ptr< ::qarn::rpc::CallHandle< ::check::Request> >
    Handle;

void LetGo(Handle* handle);

void LetGo(Handle* handle) { delete handle; }
}  // namespace probe
