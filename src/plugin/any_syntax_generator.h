// The generator of protoc-gen-qarn-rpc-any. protoc hands a file with proto3
// optional fields, or with an edition, only to a plugin that declares to know
// such files. Ours may: it looks at services alone, which are the same in each
// syntax. CppGenerator declares nothing, and its response stays as it is.
//
// This file and its .cc alone in src/ need a protobuf newer than 2.6: 3.12.

#ifndef QARN_RPC_PLUGIN_ANY_SYNTAX_GENERATOR_H_
#define QARN_RPC_PLUGIN_ANY_SYNTAX_GENERATOR_H_

#include <google/protobuf/stubs/common.h>

#include <cstdint>

#include "plugin/generator.h"

// Defined where protobuf knows editions: protoc 27, whose library is 5.27.
#if GOOGLE_PROTOBUF_VERSION >= 5027000
#define QARN_RPC_HAS_EDITIONS
#endif

namespace qarn {
namespace rpc {

// Writes what CppGenerator writes, and declares which files it takes.
class AnySyntaxGenerator : public CppGenerator {
 public:
  // Proto3 optional and, where protobuf knows them, editions.
  std::uint64_t GetSupportedFeatures() const override;

#ifdef QARN_RPC_HAS_EDITIONS
  // The range that the protoc of this protobuf takes. A later edition may have
  // features that this protobuf's descriptors do not know.
  google::protobuf::Edition GetMinimumEdition() const override;
  google::protobuf::Edition GetMaximumEdition() const override;
#endif
};

}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_PLUGIN_ANY_SYNTAX_GENERATOR_H_
