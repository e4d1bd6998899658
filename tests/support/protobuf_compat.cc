#include "support/protobuf_compat.h"

#include <google/protobuf/descriptor.h>
#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>

#include "plugin/any_syntax_generator.h"

#ifdef QARN_RPC_PROTOBUF_USES_ABSEIL
#include <absl/base/log_severity.h>
#include <absl/log/globals.h>
#include <absl/log/log_entry.h>
#include <absl/log/log_sink.h>
#include <absl/log/log_sink_registry.h>
#else
#include <google/protobuf/stubs/logging.h>
#endif

namespace qarn {
namespace rpc {
namespace testing {

namespace pb = google::protobuf;

pb::io::ZeroCopyInputStream* MemorySourceTree::Open(SourceTreeName name) {
  const auto text = texts_.find(std::string(name));
  if (text == texts_.end()) {
    return nullptr;
  }
  return new pb::io::ArrayInputStream(text->second.data(),
                                      static_cast<int>(text->second.size()));
}

#ifdef QARN_RPC_PROTOBUF_USES_ABSEIL

namespace {

class HandlerSink : public absl::LogSink {
 public:
  explicit HandlerSink(LogHandler handler) : handler_(handler) {}
  void set_handler(LogHandler handler) { handler_ = handler; }
  void Send(const absl::LogEntry& entry) override {
    handler_(std::string(entry.source_filename()),
             std::string(entry.text_message()));
  }

 private:
  LogHandler handler_;
};

}  // namespace

void SendLogTo(LogHandler handler) {
  static HandlerSink* sink = nullptr;
  if (sink == nullptr) {
    sink = new HandlerSink(handler);
    absl::SetStderrThreshold(absl::LogSeverityAtLeast::kInfinity);
    absl::AddLogSink(sink);
  }
  sink->set_handler(handler);
}

#else

namespace {

LogHandler current_handler = nullptr;

}  // namespace

void SendLogTo(LogHandler handler) {
  current_handler = handler;
  pb::SetLogHandler(
      [](pb::LogLevel, const char* file_name, int, const std::string& message) {
        current_handler(file_name, message);
      });
}

#endif

bool PrinterIndentsAfterLineBreaks() {
#ifdef QARN_RPC_PROTOBUF_USES_ABSEIL
  return true;
#else
  return false;
#endif
}

#ifdef QARN_RPC_HAS_EDITIONS

namespace {

// The editions, without proto2 and proto3, whose numbers are from `first` to
// before `end`.
std::vector<std::string> EditionsBetween(int first, int end) {
  std::vector<std::string> editions;
  const pb::EnumDescriptor* known = pb::Edition_descriptor();
  for (int i = 0; i < known->value_count(); ++i) {
    const int number = known->value(i)->number();
    if (number >= first && number < end) {
      editions.push_back(std::string(known->value(i)->name())
                             .substr(std::string("EDITION_").size()));
    }
  }
  return editions;
}

}  // namespace

std::vector<std::string> Editions() {
  return EditionsBetween(pb::EDITION_2023,
                         pb::compiler::ProtocMaximumEdition() + 1);
}

std::vector<std::string> LaterEditions() {
  return EditionsBetween(pb::compiler::ProtocMaximumEdition() + 1,
                         pb::EDITION_MAX);
}

#else

std::vector<std::string> Editions() { return {}; }

std::vector<std::string> LaterEditions() { return {}; }

#endif

std::vector<std::string> OptionsForProto3Optional() {
#if GOOGLE_PROTOBUF_VERSION < 3015000
  return {"--experimental_allow_proto3_optional"};
#else
  return {};
#endif
}

}  // namespace testing
}  // namespace rpc
}  // namespace qarn
