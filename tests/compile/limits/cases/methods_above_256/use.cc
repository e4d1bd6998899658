#include "api.rpc.h"

#define ENTRY(r, data, method) BOOST_PP_STRINGIZE(method),
extern const char* const kNames[];
const char* const kNames[] = {
    BOOST_PP_SEQ_FOR_EACH(ENTRY, ~, ECHO_METHOD_NAMES)};
