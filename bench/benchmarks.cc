// The benchmarks of what happens inside the plugin: the name rules, the method
// variables, each section, a whole file, and two measures to hold them against:
// libprotoc's own C++ generator, and protobuf's printer alone.

#include <benchmark/benchmark.h>
#include <google/protobuf/io/printer.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>
// Packages of current releases leave it out, and the benchmark with it.
#if __has_include(<google/protobuf/compiler/cpp/generator.h>)
#include <google/protobuf/compiler/cpp/generator.h>
#define QARN_RPC_HAS_LIBPROTOC_GENERATOR
#endif

#include <boost/algorithm/string/replace.hpp>

#include "header/frame.h"
#include "header/services.h"
#include "in_memory.h"
#include "naming/names.h"
#include "naming/variables.h"
#include "plugin/generator.h"
#include "source/frame.h"
#include "source/services.h"

namespace {

using google::protobuf::DescriptorPool;
using google::protobuf::FileDescriptor;
using google::protobuf::compiler::CodeGenerator;
using qarn::rpc::VariableMap;

constexpr int kMethods = 1000;

// The file of the benchmarks that do not vary the number of methods.
const FileDescriptor* WideFile() {
  static DescriptorPool pool;
  static const FileDescriptor* file =
      BuildWideFile(kMethods, GenericServices::kOff, &pool);
  return file;
}

void CountBytes(benchmark::State& state, std::size_t bytes) {
  state.SetBytesProcessed(static_cast<std::int64_t>(bytes) *
                          static_cast<std::int64_t>(state.iterations()));
}

// The name rules.

void BM_DotsToUnderscores(benchmark::State& state) {
  const std::string name = ".Mid.In";
  for (auto _ : state) {
    benchmark::DoNotOptimize(qarn::rpc::DotsToUnderscores(name));
  }
}
BENCHMARK(BM_DotsToUnderscores);

void BM_DotsToColons(benchmark::State& state) {
  const std::string name = "bench.wide.Outer";
  for (auto _ : state) {
    benchmark::DoNotOptimize(qarn::rpc::DotsToColons(name));
  }
}
BENCHMARK(BM_DotsToColons);

void BM_MessageClassName(benchmark::State& state) {
  const bool qualified = state.range(0) != 0;
  const auto* message = WideFile()->message_type(0);
  for (auto _ : state) {
    benchmark::DoNotOptimize(qarn::rpc::MessageClassName(message, qualified));
  }
}
BENCHMARK(BM_MessageClassName)->ArgName("qualified")->Arg(0)->Arg(1);

void BM_MacroPrefix(benchmark::State& state) {
  const std::string name = "Archive_v2";
  for (auto _ : state) {
    benchmark::DoNotOptimize(qarn::rpc::MacroPrefix(name));
  }
}
BENCHMARK(BM_MacroPrefix);

void BM_SetMethodVars(benchmark::State& state) {
  const auto* service = WideFile()->service(0);
  VariableMap vars;
  qarn::rpc::SetHeaderFileVars(WideFile(), {}, &vars);
  vars[qarn::rpc::keys::kService] = service->name();
  int index = 0;
  for (auto _ : state) {
    qarn::rpc::SetMethodVars(service->method(index), vars);
    index = (index + 1) % kMethods;
  }
}
BENCHMARK(BM_SetMethodVars);

// The sections.

using SectionBuilder = std::string (*)(const FileDescriptor*,
                                       const qarn::rpc::Parameters&);

void BM_Section(benchmark::State& state, SectionBuilder build) {
  const FileDescriptor* file = WideFile();
  const qarn::rpc::Parameters parameters;
  for (auto _ : state) {
    benchmark::DoNotOptimize(build(file, parameters));
  }
  CountBytes(state, build(file, parameters).size());
}
BENCHMARK_CAPTURE(BM_Section, header_prologue, qarn::rpc::GetHeaderPrologue);
BENCHMARK_CAPTURE(BM_Section, header_includes, qarn::rpc::GetHeaderIncludes);
BENCHMARK_CAPTURE(BM_Section, header_services, qarn::rpc::GetHeaderServices);
BENCHMARK_CAPTURE(BM_Section, header_epilogue, qarn::rpc::GetHeaderEpilogue);
BENCHMARK_CAPTURE(BM_Section, source_prologue, qarn::rpc::GetSourcePrologue);
BENCHMARK_CAPTURE(BM_Section, source_includes, qarn::rpc::GetSourceIncludes);
BENCHMARK_CAPTURE(BM_Section, source_services, qarn::rpc::GetSourceServices);
BENCHMARK_CAPTURE(BM_Section, source_epilogue, qarn::rpc::GetSourceEpilogue);

// Whole files.

void RunGenerator(benchmark::State& state, const CodeGenerator& generator,
                  const FileDescriptor* file) {
  std::size_t bytes = 0;
  for (auto _ : state) {
    InMemoryFiles files;
    std::string error;
    if (!generator.Generate(file, "", &files, &error)) {
      state.SkipWithError(error.c_str());
      break;
    }
    bytes = files.bytes();
  }
  CountBytes(state, bytes);
}

void BM_Generate(benchmark::State& state) {
  DescriptorPool pool;
  const auto methods = static_cast<int>(state.range(0));
  RunGenerator(state, CppGenerator(),
               BuildWideFile(methods, GenericServices::kOff, &pool));
  state.SetComplexityN(methods);
}
BENCHMARK(BM_Generate)->RangeMultiplier(4)->Range(1, 4096)->Complexity();
BENCHMARK(BM_Generate)->Arg(kMethods);

#ifdef QARN_RPC_HAS_LIBPROTOC_GENERATOR
// The same methods, through the generator that comes with protoc. It writes the
// message classes and the generic services, which is why it gets a copy of the
// descriptors that asks for those.
void BM_LibprotocGenerate(benchmark::State& state) {
  DescriptorPool pool;
  RunGenerator(state, google::protobuf::compiler::cpp::CppGenerator(),
               BuildWideFile(kMethods, GenericServices::kOn, &pool));
}
BENCHMARK(BM_LibprotocGenerate);
#endif

// Protobuf's printer alone. The texts of a file with four methods, one of each
// kind, become templates in which the names that vary are variables again; they
// are printed with a map that is filled once. All of the generator's text goes
// through the printer, so this is the bound for the generator.
void BM_PrinterAlone(benchmark::State& state) {
  DescriptorPool pool;
  InMemoryFiles files;
  std::string error;
  CppGenerator().Generate(BuildWideFile(4, GenericServices::kOff, &pool), "",
                          &files, &error);
  std::string text;
  for (const auto& [name, part] : files.texts()) {
    text += part;
  }
  VariableMap vars = {{"Package", "bench.wide"}, {"Service", "Archive"}};
  boost::algorithm::replace_all(text, "Archive", "$Service$");
  // Those whose names begin with another's come before it.
  for (const int message : {22, 15, 8, 3, 2, 1, 0}) {
    const std::string name = "Record" + std::to_string(message);
    const std::string key = "Message" + std::to_string(message);
    vars[key] = "::bench::wide::" + name;
    boost::algorithm::replace_all(text, vars[key], "$" + key + "$");
  }
  for (const char* method : {"Fetch0", "Fetch1", "Fetch2", "Fetch3"}) {
    vars[std::string("Method") + method] = method;
    boost::algorithm::replace_all(text, method,
                                  std::string("$Method") + method + "$");
  }
  std::size_t bytes = 0;
  for (auto _ : state) {
    std::string printed;
    {
      google::protobuf::io::StringOutputStream stream(&printed);
      google::protobuf::io::Printer printer(&stream, '$');
      for (int i = 0; i < kMethods / 4; ++i) {
        printer.Print(vars, text.c_str());
      }
    }
    bytes = printed.size();
    benchmark::DoNotOptimize(printed);
  }
  CountBytes(state, bytes);
}
BENCHMARK(BM_PrinterAlone);

}  // namespace

BENCHMARK_MAIN();
