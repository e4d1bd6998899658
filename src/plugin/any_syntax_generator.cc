#include "plugin/any_syntax_generator.h"

namespace qarn {
namespace rpc {

#ifdef QARN_RPC_HAS_EDITIONS

std::uint64_t AnySyntaxGenerator::GetSupportedFeatures() const {
  return FEATURE_PROTO3_OPTIONAL | FEATURE_SUPPORTS_EDITIONS;
}

google::protobuf::Edition AnySyntaxGenerator::GetMinimumEdition() const {
  return google::protobuf::compiler::ProtocMinimumEdition();
}

google::protobuf::Edition AnySyntaxGenerator::GetMaximumEdition() const {
  return google::protobuf::compiler::ProtocMaximumEdition();
}

#else

std::uint64_t AnySyntaxGenerator::GetSupportedFeatures() const {
  return FEATURE_PROTO3_OPTIONAL;
}

#endif

}  // namespace rpc
}  // namespace qarn
