#include "other/place/first.rpc.h"
#include "other/place/second.rpc.h"
#include "paths/made.rpc.h"
#include "paths/user.rpc.h"
#include "stations/station.rpc.h"
const char* First() { return paths::first::acme::v2::Pinger::name(); }
const char* Second() { return paths::second::acme::v2::Pinger::name(); }
const char* Made() { return paths::made::acme::v2::Pinger::name(); }
const char* User() { return paths::user::acme::v2::Pinger::name(); }
const char* Station() { return demo::stations::acme::v2::Registry::name(); }
