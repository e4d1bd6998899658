// The names that generated files declare beside those of the .proto file, for
// rules about names that meet.

#ifndef QARN_RPC_LINT_GENERATED_NAMES_H_
#define QARN_RPC_LINT_GENERATED_NAMES_H_

#include <google/protobuf/descriptor.h>

#include <map>
#include <set>
#include <string>
#include <vector>

namespace qarn {
namespace rpc {

// What a service's classes declare for its methods and messages, besides the
// methods and the messages themselves. For Ping(Request) returns (Reply):
struct MadeMembers {
  // In the service's class: PingClientCallPtr.
  std::set<std::string> service;
  // In Stub: _rpcmethod_Ping, ReplyCallObserverPtr.
  std::set<std::string> stub;
  // In Service: PingCallHandle; RequestCallObserverPtr, if the client streams.
  std::set<std::string> server;
};

MadeMembers MadeMembersOf(const google::protobuf::ServiceDescriptor* service);

// The macros that `service` defines: ECHO, ECHO_METHOD_NAMES, ECHO_METHODS and
// ECHO_METHOD. The first stands for the name of the class.
std::vector<std::string> MacrosOf(
    const google::protobuf::ServiceDescriptor* service);

// Whether the service's first macro makes another word of `word`: ECHO of
// `service` Echo does. That of a service ECHO is its own name, and changes
// nothing.
bool MacroChanges(const google::protobuf::ServiceDescriptor* service,
                  const std::string& word);

// "Echo_Ping".
std::string EnumeratorOf(const google::protobuf::MethodDescriptor* method);

// What the message header of `file` declares in the namespace of the file's
// package, imported files of that package included: its C++ name, and what it
// is, such as "the message demo.Outer.Inner" for "Outer_Inner".
using DeclaredNames = std::map<std::string, std::string>;

// Messages and enums, nested ones too.
DeclaredNames TypesInPackage(const google::protobuf::FileDescriptor* file);
// The values of enums: SOUND of an enum Kind, and Outer_Kind_SOUND of one that
// is nested in Outer. And extensions that no message encloses.
DeclaredNames ValuesInPackage(const google::protobuf::FileDescriptor* file);

}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_LINT_GENERATED_NAMES_H_
