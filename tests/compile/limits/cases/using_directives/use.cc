#include "api.rpc.h"

using namespace Billing;
using namespace qarn_rpc;

class Server : public Billing::Service {};

bool IsOk(const Status& status);
