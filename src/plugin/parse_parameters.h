// Parsing of the parameter string, which users give with --qarn-rpc_opt, or in
// --qarn-rpc_out ahead of the colon.

#ifndef QARN_RPC_PLUGIN_PARSE_PARAMETERS_H_
#define QARN_RPC_PLUGIN_PARSE_PARAMETERS_H_

#include <string>

#include "plugin/parameters.h"

namespace qarn {
namespace rpc {

// Reads the comma-separated key=value items of `text` into `*parameters`. The
// one key is "services_namespace"; of a repeated key the last value wins, and
// text behind a second "=" of an item is dropped:
//
//   ""                                              -> ""
//   "services_namespace=api"                        -> "api"
//   "services_namespace=a=b,services_namespace=c=d" -> "c"
//
// At the first item with another key, stores "Unknown parameter: " and the
// whole item in `*error` and returns false; items before it have been applied.
bool ParseParameters(const std::string& text, Parameters* parameters,
                     std::string* error);

}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_PLUGIN_PARSE_PARAMETERS_H_
