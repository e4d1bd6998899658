#include "plugin/generator.h"

#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/io/zero_copy_stream.h>

#include <algorithm>
#include <cstddef>
#include <limits>
#include <memory>
#include <utility>

#include "header/frame.h"
#include "header/services.h"
#include "naming/file_names.h"
#include "plugin/parse_parameters.h"
#include "source/frame.h"
#include "source/services.h"

namespace qarn {
namespace rpc {

using google::protobuf::FileDescriptor;
using google::protobuf::compiler::GeneratorContext;
using google::protobuf::io::CodedOutputStream;
using google::protobuf::io::ZeroCopyOutputStream;

namespace {

constexpr std::size_t kLargestWrite = std::numeric_limits<int>::max();

// One output file, opened by its constructor and closed by its destructor.
class OutputFile {
 public:
  OutputFile(GeneratorContext* context, const std::string& name)
      : stream_(context->Open(name)), coded_stream_(stream_.get()) {}

  // Writes `text` in one piece, unless it is larger than one write can count.
  // Such a text must arrive whole too: the framework then refuses to send it,
  // while one that was counted wrong could look like a success.
  // cppcheck-suppress passedByValue  // So that it is freed behind the call.
  void Write(std::string text) {
    for (std::size_t begin = 0; begin < text.size(); begin += kLargestWrite) {
      coded_stream_.WriteRaw(
          text.data() + begin,
          static_cast<int>(std::min(text.size() - begin, kLargestWrite)));
    }
  }

 private:
  // In this order: the coded stream hands its spare buffer back to the stream
  // when it is destroyed.
  const std::unique_ptr<ZeroCopyOutputStream> stream_;
  CodedOutputStream coded_stream_;
};

// The sections of a file one after the other, in a text that is large enough
// from the start.
std::string Join(const std::string& prologue, const std::string& includes,
                 const std::string& services, const std::string& epilogue) {
  std::string text;
  text.reserve(prologue.size() + includes.size() + services.size() +
               epilogue.size());
  text.append(prologue).append(includes).append(services).append(epilogue);
  // By name: to return what append returns, a reference, would copy it all.
  return text;
}

// The texts of the two files. The sections are built from the last to the first
// and joined from the first to the last. Each is a function of the file and the
// parameters alone, so the order in which they are built shows in no text, and
// to turn it round would gain nothing.

std::string HeaderText(const FileDescriptor* file,
                       const Parameters& parameters) {
  const std::string epilogue = GetHeaderEpilogue(file, parameters);
  const std::string services = GetHeaderServices(file, parameters);
  const std::string includes = GetHeaderIncludes(file, parameters);
  const std::string prologue = GetHeaderPrologue(file, parameters);
  return Join(prologue, includes, services, epilogue);
}

std::string SourceText(const FileDescriptor* file,
                       const Parameters& parameters) {
  const std::string epilogue = GetSourceEpilogue(file, parameters);
  const std::string services = GetSourceServices(file, parameters);
  const std::string includes = GetSourceIncludes(file, parameters);
  const std::string prologue = GetSourcePrologue(file, parameters);
  return Join(prologue, includes, services, epilogue);
}

}  // namespace
}  // namespace rpc
}  // namespace qarn

bool CppGenerator::Generate(
    const google::protobuf::FileDescriptor* file, const std::string& parameter,
    google::protobuf::compiler::GeneratorContext* context,
    std::string* error) const {
  using qarn::rpc::OutputFile;
  using qarn::rpc::Parameters;

  if (file->options().cc_generic_services()) {
    // The message names the option without its final s; users match the text.
    *error =
        "cpp rpc proto compiler plugin does not work with generic services. "
        "To generate cpp rpc APIs, please set \"cc_generic_service = false\".";
    return false;
  }
  Parameters parameters;
  if (!qarn::rpc::ParseParameters(parameter, &parameters, error)) {
    return false;
  }
  const std::string base = qarn::rpc::OutputBaseName(std::string(file->name()));

  // The header is opened first, so it comes first in the response; both files
  // stay open until the end and are closed in reverse order. Each text is moved
  // into the call that writes it, and freed at its end: the framework has a
  // copy by then, and the next file needs the memory.
  std::string header_text = qarn::rpc::HeaderText(file, parameters);
  OutputFile header(context, base + ".rpc.h");
  header.Write(std::move(header_text));

  std::string source_text = qarn::rpc::SourceText(file, parameters);
  OutputFile source(context, base + ".rpc.cpp");
  source.Write(std::move(source_text));
  return true;
}
