// The typedefs in BASE.rpc.h that are printed for methods: each method's own,
// and those that methods share, of which a nested class declares one for each
// message type, however many methods use the type.
//
// Each printer sets the variables of its method in the map before it prints,
// and reads no others: the map may hold those of any method.

#ifndef QARN_RPC_HEADER_TYPEDEFS_H_
#define QARN_RPC_HEADER_TYPEDEFS_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/io/printer.h>

#include <boost/unordered_set.hpp>
#include <string>

#include "naming/variables.h"

namespace qarn {
namespace rpc {

// The keys of the shared typedefs that have been printed. A printer that takes
// the set prints a typedef only if the set lacks the key of its message type,
// and then inserts the key. The caller owns the set and makes a new one for
// each class and kind of typedef.
using TypedefSet = boost::unordered_set<std::string>;

// Prints the two call-pointer typedefs of every method of `service`.
void PrintHeaderServiceTypedefs(
    google::protobuf::io::Printer* printer,
    const google::protobuf::ServiceDescriptor* service, VariableMap* vars);

// For Stub: the observer of the method's responses. The key is the class name
// without its namespace, so of two messages of one name in different packages
// only the first gets a typedef.
void PrintHeaderClientMethodCallObserverTypedefs(
    google::protobuf::io::Printer* printer,
    const google::protobuf::MethodDescriptor* method, VariableMap& vars,
    TypedefSet& printed);

// For Service: the request and the response under their names without
// namespace. The key is the qualified class name, so messages of one name in
// different packages each get a typedef, though the two clash.
void PrintHeaderServerMethodMessagesTypedefs(
    google::protobuf::io::Printer* printer,
    const google::protobuf::MethodDescriptor* method, VariableMap& vars,
    TypedefSet& printed);

// For Service: the pointer to an observer of the method's requests, if the
// client streams. The key is the class name without its namespace.
void PrintHeaderServerMethodCallObserverTypedefs(
    google::protobuf::io::Printer* printer,
    const google::protobuf::MethodDescriptor* method, VariableMap& vars,
    TypedefSet& printed);

// For Service: the handle through which a server answers a call.
void PrintHeaderServerMethodCallHandleTypedefs(
    google::protobuf::io::Printer* printer,
    const google::protobuf::MethodDescriptor* method, VariableMap& vars);

}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_HEADER_TYPEDEFS_H_
