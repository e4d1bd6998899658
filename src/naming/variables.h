// The variables that templates may use, and the functions that fill them. A
// template names a variable by enclosing its key in "$" signs: "$Service$".

#ifndef QARN_RPC_NAMING_VARIABLES_H_
#define QARN_RPC_NAMING_VARIABLES_H_

#include <google/protobuf/descriptor.h>

#include <map>
#include <string>

namespace qarn {
namespace rpc {

// Variable name to replacement text. One map serves a whole section of a
// generated file: its keys are overwritten, never removed, so after a loop over
// methods it holds the values of the last one.
using VariableMap = std::map<std::string, std::string>;

// Every key there is. They are constants: strings would have to be made and
// destroyed at each start of the program. The examples are those of the method
// Ping of the service Echo in a/b/echo.proto, package a.b, with
// services_namespace=api.
namespace keys {

// The file.

// The name as protoc gives it: a/b/echo.proto
inline constexpr char kFilename[] = "filename";
// The name less its suffix: a/b/echo
inline constexpr char kFilenameBase[] = "filename_base";
// One component of the package at a time: a, then b
inline constexpr char kPart[] = "part";
// The package with its dots, or nothing: a.b
inline constexpr char kPackage[] = "Package";
// The same and a dot, or nothing: a.b.
inline constexpr char kPackageDot[] = "PackageDot";
// The parameter; not set when it is empty: api
inline constexpr char kServicesNamespace[] = "services_namespace";
// What qualifies a definition in the source, or nothing: api::
inline constexpr char kNs[] = "ns";
// The parameter, or nothing; no template reads it, see SetSourceFileVars: api
inline constexpr char kPrefix[] = "prefix";

// The service.

// The name as declared: Echo
inline constexpr char kService[] = "Service";

// The method.

// The name as declared: Ping
inline constexpr char kMethod[] = "Method";
// The streaming kind: ::qarn::rpc::RMT_SIMPLE
inline constexpr char kMethodRpcType[] = "MethodRpcType";
// The class of the request: ::a::b::PingRequest
inline constexpr char kRequest[] = "Request";
// The same without its namespace: PingRequest
inline constexpr char kRequestNoNs[] = "RequestNoNs";
// PingRequestCallObserverPtr
inline constexpr char kRequestCallObserverPtr[] = "RequestCallObserverPtr";
// PingClientCallPtr
inline constexpr char kClientCallPtr[] = "ClientCallPtr";
// PingServerCallPtr
inline constexpr char kServerCallPtr[] = "ServerCallPtr";
// PingCallHandle, without the "Server" of the key: users know it by this name
inline constexpr char kServerCallHandle[] = "ServerCallHandle";
// The class of the response: ::a::b::PingReply
inline constexpr char kResponse[] = "Response";
// The same without its namespace: PingReply
inline constexpr char kResponseNoNs[] = "ResponseNoNs";
// PingReplyStreamWriterPtr; no template reads it, but it is one of the names
// that every method is known by, like the others
inline constexpr char kResponseStreamWriterPtr[] = "ResponseStreamWriterPtr";
// PingReplyCallObserverPtr, with a "Ptr" that the key lacks
inline constexpr char kResponseCallObserver[] = "ResponseCallObserver";

}  // namespace keys

// Sets "filename" and "filename_base".
void SetFilenameVars(const google::protobuf::FileDescriptor* file,
                     VariableMap* vars);

// Sets "Package" and "PackageDot".
void SetPackageVars(const google::protobuf::FileDescriptor* file,
                    VariableMap* vars);

// Sets the twelve keys of the method, whatever its streaming kind, and leaves
// all others alone.
void SetMethodVars(const google::protobuf::MethodDescriptor* method,
                   VariableMap& vars);

}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_NAMING_VARIABLES_H_
