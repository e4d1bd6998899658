#include "plain_writer.h"

#include <google/protobuf/descriptor.h>
#include <google/protobuf/descriptor.pb.h>

#include <cstddef>
#include <initializer_list>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "morvane/qarn/rpc/service_options.pb.h"

namespace qarn::rpc::independent {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::FileDescriptor;
using google::protobuf::MethodDescriptor;
using google::protobuf::MethodOptions;
using google::protobuf::ServiceDescriptor;
using google::protobuf::compiler::CodeGeneratorResponse;

constexpr char kGenericServicesError[] =
    "cpp rpc proto compiler plugin does not work with generic services. "
    "To generate cpp rpc APIs, please set \"cc_generic_service = false\".";

// What the generated text says of one message: its class, with and without the
// namespace. For Inner in a.b.Outer: "::a::b::Outer_Inner" and "Outer_Inner".
struct Message {
  std::string type;
  std::string local;
};

struct Method {
  std::string name;
  // The runtime's enumerator.
  std::string kind;
  // The client sends any number of requests. The server's side of the stream
  // shows in `kind` and nowhere else.
  bool client_streams;
  Message request;
  Message response;
};

struct Service {
  std::string name;
  // "ECHO" for Echo. The front part of all macro names.
  std::string macro;
  std::string package;
  // "a.b.Echo", or "Echo" without a package.
  std::string full_name;
  std::vector<Method> methods;
};

// Returns `lines` as one text, each ended by a newline. They are views: a line
// that is joined in the list lives as long as the call, and one without names
// costs no memory.
std::string Lines(std::initializer_list<std::string_view> lines) {
  std::size_t size = 0;
  for (const std::string_view line : lines) {
    size += line.size() + 1;
  }
  std::string text;
  text.reserve(size);
  for (const std::string_view line : lines) {
    text.append(line).append("\n");
  }
  return text;
}

// Adds `line` unless `key` was seen before.
void AddOnce(std::string* text, std::set<std::string>* seen,
             const std::string& key, const std::string& line) {
  if (seen->insert(key).second) {
    *text += Lines({line});
  }
}

// "a.b" -> {"a", "b"}; no parts without a package.
std::vector<std::string> PackageParts(const FileDescriptor* file) {
  std::vector<std::string> parts;
  if (file->package().empty()) {
    return parts;
  }
  parts.emplace_back();
  for (const char c : file->package()) {
    if (c == '.') {
      parts.emplace_back();
    } else {
      parts.back() += c;
    }
  }
  return parts;
}

bool EndsWith(const std::string& text, const std::string& end) {
  return text.size() >= end.size() &&
         text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// "a/b/echo.proto" -> "a/b/echo". Only one suffix goes:
// "x.proto.protodevel" -> "x.proto".
std::string BaseName(const std::string& file_name) {
  for (const char* suffix : {".protodevel", ".proto"}) {
    if (EndsWith(file_name, suffix)) {
      return file_name.substr(0, file_name.size() - std::string(suffix).size());
    }
  }
  return file_name;
}

// ASCII alone: a locale must not reach the names of macros.
std::string UpperCase(const std::string& name) {
  std::string upper;
  for (const char c : name) {
    const bool lower = c >= 'a' && c <= 'z';
    upper += lower ? static_cast<char>(c - 'a' + 'A') : c;
  }
  return upper;
}

std::string LocalClass(const Descriptor* message) {
  const Descriptor* outer = message->containing_type();
  const std::string name(message->name());
  return outer == nullptr ? name : LocalClass(outer) + "_" + name;
}

Message ReadMessage(const Descriptor* message) {
  Message result;
  result.local = LocalClass(message);
  result.type = "::";
  // The package of the file that defines the message, not of the one that
  // uses it.
  for (const std::string& part : PackageParts(message->file())) {
    result.type += part + "::";
  }
  result.type += result.local;
  return result;
}

Method ReadMethod(const MethodDescriptor* method) {
  namespace options = ::morvane::qarn::rpc;
  // The descriptor's own client_streaming() and server_streaming() tell of the
  // `stream` keyword, which has no effect here.
  const MethodOptions& set = method->options();
  const bool client = set.HasExtension(options::client_streaming) &&
                      set.GetExtension(options::client_streaming);
  const bool server = set.HasExtension(options::server_streaming) &&
                      set.GetExtension(options::server_streaming);
  Method result;
  result.name = method->name();
  result.client_streams = client;
  if (client && server) {
    result.kind = "RMT_BIDI_STREAMING";
  } else if (client) {
    result.kind = "RMT_CLIENT_STREAMING";
  } else if (server) {
    result.kind = "RMT_SERVER_STREAMING";
  } else {
    result.kind = "RMT_SIMPLE";
  }
  result.request = ReadMessage(method->input_type());
  result.response = ReadMessage(method->output_type());
  return result;
}

Service ReadService(const ServiceDescriptor* service) {
  Service result;
  result.name = service->name();
  result.macro = UpperCase(result.name);
  result.package = service->file()->package();
  result.full_name = service->full_name();
  for (int i = 0; i < service->method_count(); ++i) {
    result.methods.push_back(ReadMethod(service->method(i)));
  }
  return result;
}

// ---------------------------------------------------------------------------
// BASE.rpc.h

// One macro that lists the methods, each entry led by `entry_prefix`. The last
// entry has no backslash. Without a method the backslash of the first line
// stays: it joins the empty line, so that the macro is empty.
void AddMethodList(std::string* text, const std::string& macro,
                   const std::string& entry_prefix, const Service& service) {
  *text += Lines({"#define " + macro + " \\"});
  std::size_t left = service.methods.size();
  for (const Method& method : service.methods) {
    --left;
    *text += Lines(
        {"  (" + entry_prefix + method.name + ")" + (left > 0 ? " \\" : "")});
  }
  *text += Lines({""});
}

void AddTraits(std::string* text, const Service& service) {
  const std::string& name = service.name;

  *text += Lines({
      "#define " + service.macro + " " + name,
      "",
  });
  AddMethodList(text, service.macro + "_METHOD_NAMES", "", service);
  AddMethodList(text, service.macro + "_METHODS", name + "_", service);
  // RPCTEST is the same word for every service.
  *text += Lines({
      "#define " + service.macro + "_METHOD(NAME) \\",
      "  BOOST_PP_CAT(RPCTEST, BOOST_PP_CAT(_, NAME))",
      "",
  });

  *text += Lines({"enum " + name + "Method {"});
  for (const Method& method : service.methods) {
    *text += Lines({"  " + name + "_" + method.name + ","});
  }
  // One blank before this comment, two before those that close a namespace.
  *text += Lines({
      "}; // enum " + name + "Method",
      "",
      "template <" + name + "Method>",
      "struct " + name + "Methods;",
      "",
  });

  for (const Method& method : service.methods) {
    *text += Lines({
        "template <>",
        "struct " + name + "Methods<" + name + "_" + method.name + "> {",
        "  static const char* name()      { return \"" + method.name + "\"; }",
        // A slash stands before the method, not a dot.
        "  static const char* full_name() { return \"" + service.full_name +
            "/" + method.name + "\"; }",
        "  static const ::qarn::rpc::RpcMethodType rpc_type = "
        "::qarn::rpc::" +
            method.kind + ";",
        "",
        "  typedef " + method.request.type + " request;",
        "  typedef " + method.response.type + " response;",
        "};",
        "",
    });
  }
}

// The declarations of one method in Stub. The four layouts are uneven, and
// stay so.
void AddClientCalls(std::string* text, const Method& method) {
  const std::string returns = "    " + method.name + "ClientCallPtr";
  const std::string opens = "    " + method.name + "(";
  const std::string context =
      "        const ::qarn::rpc::ClientContext& context,";
  const std::string observer = "        " + method.response.local +
                               "CallObserverPtr* response_observer)";

  if (!method.client_streams) {
    const std::string request = "const " + method.request.type + "& request,";
    *text += Lines({
        returns,
        opens,
        context,
        "        " + request,
        observer + ";",
        "",
        "    // This call will use Stub's context",
        returns,
        opens + request,  // On the name's line, in this call alone.
        observer + ";",
        "",
    });
    return;
  }

  const std::string container = "        const Container& requests,";
  // A blank ends this line.
  const std::string batch =
      "      return ::qarn::rpc::client::AsyncBatchCall< ";
  const std::string request_argument =
      "           " + method.request.type + ",";
  const std::string response_argument =
      "           " + method.response.type + ",";
  const std::string passes =
      "         channel(), _rpcmethod_" + method.name + ", ";
  *text += Lines({
      returns,
      opens,
      context,
      observer + ";",
      "",
      "    // This call will use Stub's context",
      returns,
      opens,
      observer + ";",
      "",
      "    template<class Container>",
      returns,
      opens,
      context,
      container,
      observer + " {",
      batch,
      request_argument,
      response_argument,
      "           Container >(",
      passes + "context, requests, response_observer);",
      "    }",
      "",
      "    template<class Container>",
      returns,
      opens,
      container,
      observer + " {",
      batch,
      request_argument,
      response_argument,
      "           Container >(",
      passes + "context(), requests, response_observer);",
      "    }",
      "",
  });
}

void AddStubClass(std::string* text, const Service& service) {
  *text += Lines({
      "  class Stub : public ::qarn::rpc::StubBase {",
      "   public:",
      "    typedef " + service.name + " Service;",
      "",
  });

  // By the name without namespace: of two responses with one local name only
  // the first gets the typedef.
  std::set<std::string> observers;
  for (const Method& method : service.methods) {
    const Message& response = method.response;
    AddOnce(text, &observers, response.local,
            "    typedef ::qarn::rpc::CallObserver< " + response.type + "> " +
                response.local + "CallObserverPtr;");
  }
  *text += Lines({
      "",
      "    Stub(const std::string& client_name,",
      "         const std::string& endpoint,",
      "         const ::qarn::rpc::ClientContext& context,",
      "         const boost::shared_ptr< ::qarn::rpc::Channel>&);",
      "",
  });

  for (const Method& method : service.methods) {
    AddClientCalls(text, method);
  }
  // Public on purpose: no access label before these.
  for (const Method& method : service.methods) {
    *text += Lines({"    static const ::qarn::rpc::RpcMethod _rpcmethod_" +
                    method.name + ";"});
  }
  *text += Lines({
      "  };",
      "",
  });
}

void AddServiceClass(std::string* text, const Service& service) {
  *text += Lines({
      "  class Service : public ::qarn::rpc::ServiceBase {",
      "   public:",
      "    Service() : _service(NULL) {}",
      "    virtual ~Service();",
      "",
  });

  // By the name with namespace, and one set for requests and responses: two
  // messages with one local name both get their typedef, and clash.
  std::set<std::string> messages;
  for (const Method& method : service.methods) {
    for (const Message& message : {method.request, method.response}) {
      AddOnce(text, &messages, message.type,
              "    typedef " + message.type + " " + message.local + ";");
    }
  }
  *text += Lines({""});

  // A pointer here, where Stub's typedef of the same name is none.
  std::set<std::string> observers;
  for (const Method& method : service.methods) {
    if (method.client_streams) {
      const Message& request = method.request;
      AddOnce(text, &observers, request.local,
              "    typedef ::qarn::rpc::CallObserver< " + request.type + ">* " +
                  request.local + "CallObserverPtr;");
    }
  }
  *text += Lines({""});

  for (const Method& method : service.methods) {
    // CallHandle, though its neighbours end in ClientCallPtr and ServerCallPtr.
    *text +=
        Lines({"    typedef boost::intrusive_ptr< ::qarn::rpc::CallHandle< " +
               method.response.type + "> > " + method.name + "CallHandle;"});
  }
  *text += Lines({""});

  for (const Method& method : service.methods) {
    const std::string handle =
        "        const " + method.name + "CallHandle& handle) = 0;";
    if (method.client_streams) {
      *text += Lines({
          "    virtual " + method.request.local + "CallObserverPtr " +
              method.name + "(",
          "        ::qarn::rpc::CallContext* context,",
          handle,
          "",
      });
    } else {
      *text += Lines({
          "    virtual void " + method.name + "(",
          "        ::qarn::rpc::CallContext* context,",
          "        const " + method.request.local + "& request,",
          handle,
          "",
      });
    }
  }
  *text += Lines({
      "    virtual ::qarn::rpc::RpcService* service();",
      "",
      "   private:",
      "    ::qarn::rpc::RpcService* _service;",
      "  };",
  });
}

void AddServiceDeclaration(std::string* text, const Service& service) {
  const std::string& name = service.name;
  AddTraits(text, service);
  // The second empty line after the traits.
  *text += Lines({
      "",
      "class " + name + " {",
      " public:",
  });
  for (const Method& method : service.methods) {
    const std::string handle =
        "  typedef boost::intrusive_ptr< ::qarn::rpc::CallHandle< ";
    *text += Lines({
        handle + method.request.type + "> > " + method.name + "ClientCallPtr;",
        handle + method.response.type + "> > " + method.name + "ServerCallPtr;",
    });
  }
  *text += Lines({
      "",
      "  static const char* package()   { return \"" + service.package +
          "\"; }",
      "  static const char* name()      { return \"" + name + "\"; }",
      "  static const char* full_name() { return \"" + service.full_name +
          "\"; }",
      "",
  });
  AddStubClass(text, service);
  AddServiceClass(text, service);
  *text += Lines({
      "};",
      "",
  });
}

// ---------------------------------------------------------------------------
// BASE.rpc.cpp

// The two definitions of one method in Stub. The call with Stub's own context
// comes first here and second in the header.
void AddClientDefinitions(std::string* text, const std::string& stub,
                          const Method& method) {
  // A blank before both closing brackets; the header's typedef has one only
  // before the second.
  const std::string returns =
      "boost::intrusive_ptr< ::qarn::rpc::CallHandle< " + method.request.type +
      " > >";
  const std::string opens = stub + method.name + "(";
  const std::string context = "    const ::qarn::rpc::ClientContext& context,";
  const std::string observer =
      "    " + method.response.local + "CallObserverPtr* response_observer) {";
  const std::string passes = "      channel(), _rpcmethod_" + method.name;

  if (!method.client_streams) {
    const std::string request =
        "    const " + method.request.type + "& request,";
    const std::string call = "  return ::qarn::rpc::client::AsyncSimpleCall(";
    *text += Lines({
        returns,
        opens,
        request,
        observer,
        call,
        passes + ", context(), request, response_observer);",
        "}",
        "",
        returns,
        opens,
        context,
        request,
        observer,
        call,
        passes + ", context, request, response_observer);",
        "}",
        "",
    });
    return;
  }

  const std::string call = "  return ::qarn::rpc::client::AsyncStreamingCall<";
  const std::string request_argument = "    " + method.request.type + ",";
  const std::string response_argument = "    " + method.response.type + " >(";
  *text += Lines({
      returns,
      opens,
      observer,
      call,
      request_argument,
      response_argument,
      passes + ", context(), response_observer);",
      "}",
      "",
      returns,
      opens,
      context,
      observer,
      call,
      request_argument,
      response_argument,
      passes + ", context, response_observer);",
      "}",
      "",
  });
}

// `scope` is "services::", or empty without a services namespace. It leads the
// names that stand outside the class; those that are looked up from inside it
// (the first argument of make_rpc_method, full_name() and the enumerators) go
// without.
void AddServiceDefinitions(std::string* text, const Service& service,
                           const std::string& scope) {
  const std::string& name = service.name;
  const std::string stub = scope + name + "::Stub::";
  const std::string server = scope + name + "::Service::";

  for (const Method& method : service.methods) {
    *text += Lines({
        "const ::qarn::rpc::RpcMethod " + stub + "_rpcmethod_" + method.name +
            " =",
        "  ::qarn::rpc::make_rpc_method<" + name + ", " + scope + name +
            "Methods<" + name + "_" + method.name +
            "> >(::qarn::rpc::CS_CLIENT);",
    });
  }
  *text += Lines({
      "",
      stub + "Stub(",
      "    const std::string& client_name,",
      "    const std::string& endpoint,",
      "    const ::qarn::rpc::ClientContext& context,",
      "    const boost::shared_ptr< ::qarn::rpc::Channel>& channel)",
      "  : ::qarn::rpc::StubBase(client_name, endpoint, context, channel)",
      "{}",
      "",
  });

  for (const Method& method : service.methods) {
    AddClientDefinitions(text, stub, method);
  }

  *text += Lines({
      server + "~Service() {",
      "  delete _service;",
      "}",
      "",
      "::qarn::rpc::RpcService* " + server + "service() {",
      "  if (_service) {",
      "    return _service;",
      "  }",
      "  _service = new ::qarn::rpc::RpcService(" + name + "::full_name());",
  });
  for (const Method& method : service.methods) {
    *text += Lines({
        "  _service->AddMethod(new ::qarn::rpc::RpcServiceMethodT<",
        "      " + scope + name + ", " + scope + name + "Methods<" + name +
            "_" + method.name + "> >(",
        "          this, &" + server + method.name + "));",
    });
  }
  // Two empty lines end a service here, one in the header.
  *text += Lines({
      "  return _service;",
      "}",
      "",
      "",
  });
}

std::string WriteHeader(const FileDescriptor* file,
                        const std::string& services_namespace) {
  const std::vector<std::string> parts = PackageParts(file);
  const std::string name(file->name());
  std::string text;
  text += Lines({
      "// Proudly generated by the QARN RPC protobuf plugin.",
      "// If you make any local change, they will be lost.",
      "// source: " + name,
      "#pragma once",
      "",
      "#include \"" + BaseName(name) + ".pb.h\"",
      "",
      "#include <boost/shared_ptr.hpp>",
      "#include <boost/intrusive_ptr.hpp>",
      "#include <boost/preprocessor.hpp>",
      "",
      "#include \"qarn/rpc.h\"",
      "",
      "namespace qarn { namespace rpc {",
      "// Forward declarations go here.",
      "} }  // namespace qarn::rpc",
      "",
      "namespace qarn_rpc = ::qarn::rpc;",
      "",
  });
  for (const std::string& part : parts) {
    text += Lines({"namespace " + part + " {"});
  }
  if (!parts.empty()) {
    text += Lines({""});
  }

  if (!services_namespace.empty()) {
    text += Lines({
        "",
        "namespace " + services_namespace + " {",
        "",
    });
  }
  for (int i = 0; i < file->service_count(); ++i) {
    AddServiceDeclaration(&text, ReadService(file->service(i)));
  }
  if (!services_namespace.empty()) {
    text += Lines({
        "}  // namespace " + services_namespace,
        "",
    });
  }

  // Innermost first: each comment names what its brace closes.
  for (auto part = parts.rbegin(); part != parts.rend(); ++part) {
    text += Lines({"}  // namespace " + *part});
  }
  if (!parts.empty()) {
    text += Lines({""});
  }
  text += Lines({""});
  return text;
}

std::string WriteSource(const FileDescriptor* file,
                        const std::string& services_namespace) {
  const std::vector<std::string> parts = PackageParts(file);
  const std::string name(file->name());
  const std::string base = BaseName(name);
  std::string text;
  text += Lines({
      "// Proudly generated by the QARN RPC protobuf plugin.",
      "// If you make any local change, they will be lost.",
      "// source: " + name,
      "",
      "#include \"" + base + ".pb.h\"",
      "#include \"" + base + ".rpc.h\"",
      "",
  });
  for (const std::string& part : parts) {
    text += Lines({"namespace " + part + " {"});
  }
  text += Lines({""});

  // The services namespace is not opened here: it leads the names.
  const std::string scope =
      services_namespace.empty() ? "" : services_namespace + "::";
  for (int i = 0; i < file->service_count(); ++i) {
    AddServiceDefinitions(&text, ReadService(file->service(i)), scope);
  }

  // In opening order, so that with two parts or more the comments name the
  // wrong braces. The header has them the other way round. Both stay.
  for (const std::string& part : parts) {
    text += Lines({"}  // namespace " + part});
  }
  if (!parts.empty()) {
    text += Lines({""});
  }
  return text;
}

// ---------------------------------------------------------------------------
// The response

// Reads a parameter string. Returns what is said of one that is refused, ""
// of any other.
std::string ReadParameter(const std::string& parameter,
                          std::string* services_namespace) {
  if (parameter.empty()) {
    return "";
  }
  // Ended by a comma, so that an item ends at each comma and nowhere else.
  std::istringstream items(parameter + ",");
  for (std::string item; std::getline(items, item, ',');) {
    std::istringstream pieces(item);
    std::string key;
    std::getline(pieces, key, '=');
    if (key != "services_namespace") {
      return "Unknown parameter: " + item;
    }
    // The last value counts, also if it is none.
    services_namespace->clear();
    std::getline(pieces, *services_namespace, '=');
  }
  return "";
}

}  // namespace

CodeGeneratorResponse WriteResponse(
    const std::vector<const FileDescriptor*>& files,
    const std::string& parameter) {
  std::string services_namespace;
  const std::string parameter_error =
      ReadParameter(parameter, &services_namespace);
  CodeGeneratorResponse response;
  for (const FileDescriptor* file : files) {
    const std::string name(file->name());
    const std::string error = file->options().cc_generic_services()
                                  ? kGenericServicesError
                                  : parameter_error;
    if (!error.empty()) {
      response.set_error(name + ": " + error);
      break;
    }
    auto* header = response.add_file();
    header->set_name(BaseName(name) + ".rpc.h");
    header->set_content(WriteHeader(file, services_namespace));
    auto* source = response.add_file();
    source->set_name(BaseName(name) + ".rpc.cpp");
    source->set_content(WriteSource(file, services_namespace));
  }
  return response;
}

}  // namespace qarn::rpc::independent
