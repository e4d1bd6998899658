// service() builds the runtime's service object on its first call, owns it, and
// registers one method adapter a method.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "kinds_server.h"
#include "sizes.rpc.h"

namespace {

using ::qarn::rpc::RpcMethod;
using ::qarn::rpc::RpcService;
using ::testing::ElementsAre;

// Says when it is deleted.
class Witness : public ::qarn::rpc::RpcServiceMethod {
 public:
  explicit Witness(bool* deleted)
      : RpcServiceMethod(RpcMethod("s", "m", "s/m", ::qarn::rpc::RMT_SIMPLE,
                                   ::qarn::rpc::CS_SERVER)),
        deleted_(deleted) {}
  ~Witness() override { *deleted_ = true; }
  ::qarn::rpc::ByteObserverPtr Start(const ::qarn::rpc::ClientContext&,
                                     ::qarn::rpc::ByteSenderPtr) override {
    return nullptr;
  }

 private:
  bool* const deleted_;
};

TEST(ServiceLifecycleTest, ServiceIsBuiltOnceAndKept) {
  KindsServer server;
  RpcService* const service = server.service();
  ASSERT_NE(service, nullptr);
  EXPECT_EQ(server.service(), service);
  EXPECT_EQ(service->method_count(), 4u);
}

TEST(ServiceLifecycleTest, EachServerHasItsOwnService) {
  KindsServer one;
  KindsServer other;
  EXPECT_NE(one.service(), other.service());
}

// What service() would do is seen only where it was called: a server that never
// called it has nothing to delete, which the leak checker confirms.
TEST(ServiceLifecycleTest, ServerThatWasNeverAskedIsDestroyedCleanly) {
  const std::unique_ptr<::qarn::rpc::ServiceBase> server(new KindsServer);
  EXPECT_NE(server, nullptr);
}

TEST(ServiceLifecycleTest, DestructorDeletesTheServiceThroughTheBase) {
  bool deleted = false;
  std::unique_ptr<KindsServer> server(new KindsServer);
  server->service()->AddMethod(new Witness(&deleted));
  std::unique_ptr<::qarn::rpc::ServiceBase> base(std::move(server));
  EXPECT_FALSE(deleted);
  base.reset();
  EXPECT_TRUE(deleted);
}

TEST(ServiceLifecycleTest, ServiceHasItsFullName) {
  KindsServer server;
  EXPECT_EQ(server.service()->full_name(), "lab.kinds.Kinds");
}

TEST(ServiceLifecycleTest, MethodsAreRegisteredInOrderUnderTheirFullNames) {
  KindsServer server;
  const RpcService& service = *server.service();
  std::vector<std::string> names;
  std::vector<std::string> full_names;
  std::vector<int> types;
  for (std::size_t i = 0; i < service.method_count(); ++i) {
    names.push_back(service.method(i).name());
    full_names.push_back(service.method(i).full_name());
    types.push_back(service.method(i).type());
    EXPECT_STREQ(service.method(i).service(), "lab.kinds.Kinds");
    EXPECT_EQ(service.method(i).side(), ::qarn::rpc::CS_SERVER);
  }
  EXPECT_THAT(names, ElementsAre("Ask", "Watch", "Upload", "Chat"));
  EXPECT_THAT(full_names,
              ElementsAre("lab.kinds.Kinds/Ask", "lab.kinds.Kinds/Watch",
                          "lab.kinds.Kinds/Upload", "lab.kinds.Kinds/Chat"));
  EXPECT_THAT(types, ElementsAre(::qarn::rpc::RMT_SIMPLE,
                                 ::qarn::rpc::RMT_SERVER_STREAMING,
                                 ::qarn::rpc::RMT_CLIENT_STREAMING,
                                 ::qarn::rpc::RMT_BIDI_STREAMING));
}

TEST(ServiceLifecycleTest, ServiceWithoutMethodsCanBeServed) {
  lab::sizes::api::Nothing::Service server;  // nothing is pure virtual in it
  EXPECT_EQ(server.service()->full_name(), "lab.sizes.Nothing");
  EXPECT_EQ(server.service()->method_count(), 0u);
}

TEST(ServiceLifecycleTest, StubDescribesItsMethodsForTheClientSide) {
  using Stub = lab::kinds::api::Kinds::Stub;
  const RpcMethod& chat = Stub::_rpcmethod_Chat;
  EXPECT_STREQ(chat.service(), "lab.kinds.Kinds");
  EXPECT_STREQ(chat.name(), "Chat");
  EXPECT_STREQ(chat.full_name(), "lab.kinds.Kinds/Chat");
  EXPECT_EQ(chat.type(), ::qarn::rpc::RMT_BIDI_STREAMING);
  EXPECT_EQ(chat.side(), ::qarn::rpc::CS_CLIENT);
  EXPECT_STREQ(Stub::_rpcmethod_Ask.name(), "Ask");
  EXPECT_STREQ(Stub::_rpcmethod_Watch.name(), "Watch");
  EXPECT_STREQ(Stub::_rpcmethod_Upload.name(), "Upload");
}

}  // namespace
