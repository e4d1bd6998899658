// The parsed generator parameters. Every section builder takes them, so this
// header includes nothing of ours. It stands with the code that fills it, and
// not below with the builders: the parameters belong to the plugin's interface.

#ifndef QARN_RPC_PLUGIN_PARAMETERS_H_
#define QARN_RPC_PLUGIN_PARAMETERS_H_

#include <string>

namespace qarn {
namespace rpc {

struct Parameters {
  // The extra namespace around all services of a file; empty for none. Goes
  // into the generated text as it stands, neither trimmed nor validated.
  std::string services_namespace;
};

}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_PLUGIN_PARAMETERS_H_
