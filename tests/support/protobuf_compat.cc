#include "support/protobuf_compat.h"

#include <google/protobuf/compiler/plugin.h>
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

namespace {

// Puts what is written into the response.
class ResponseContext : public pb::compiler::GeneratorContext {
 public:
  explicit ResponseContext(pb::compiler::CodeGeneratorResponse* response)
      : response_(response) {}

  pb::io::ZeroCopyOutputStream* Open(const std::string& name) override {
    auto* file = response_->add_file();
    file->set_name(name);
    return new pb::io::StringOutputStream(file->mutable_content());
  }

 private:
  pb::compiler::CodeGeneratorResponse* const response_;
};

}  // namespace

pb::io::ZeroCopyInputStream* MemorySourceTree::Open(SourceTreeName name) {
  const auto text = texts_.find(std::string(name));
  if (text == texts_.end()) {
    return nullptr;
  }
  return new pb::io::ArrayInputStream(text->second.data(),
                                      static_cast<int>(text->second.size()));
}

void RunGenerator(const std::vector<const pb::FileDescriptor*>& files,
                  const std::string& parameter,
                  const pb::compiler::CodeGenerator& generator,
                  pb::compiler::CodeGeneratorResponse* response) {
  response->set_supported_features(generator.GetSupportedFeatures());
#ifdef QARN_RPC_HAS_EDITIONS
  response->set_minimum_edition(generator.GetMinimumEdition());
  response->set_maximum_edition(generator.GetMaximumEdition());
#endif
  ResponseContext context(response);
  std::string message;
  generator.GenerateAll(files, parameter, &context, &message);
  if (!message.empty()) {
    response->set_error(message);
  }
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

// Current shared libraries keep the framework's own function to themselves.
bool AnswerRequest(const pb::compiler::CodeGeneratorRequest& request,
                   const pb::compiler::CodeGenerator& generator,
                   pb::compiler::CodeGeneratorResponse* response,
                   std::string* error) {
  pb::DescriptorPool pool;
  for (const auto& file : request.proto_file()) {
    if (pool.BuildFile(file) == nullptr) {
      *error = file.name() + " does not build";
      return false;
    }
  }
  std::vector<const pb::FileDescriptor*> files;
  for (const std::string& name : request.file_to_generate()) {
    files.push_back(pool.FindFileByName(name));
    if (files.back() == nullptr) {
      *error = name + " is not in the request";
      return false;
    }
  }
  RunGenerator(files, request.parameter(), generator, response);
  return true;
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

bool AnswerRequest(const pb::compiler::CodeGeneratorRequest& request,
                   const pb::compiler::CodeGenerator& generator,
                   pb::compiler::CodeGeneratorResponse* response,
                   std::string* error) {
  return pb::compiler::GenerateCode(request, generator, response, error);
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
