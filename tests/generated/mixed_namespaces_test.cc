// One program uses a service in a services namespace, one without, and one
// whose file has no package either.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/shared_ptr.hpp>

#include "kinds_server.h"
#include "no_package.rpc.h"
#include "plain.rpc.h"
#include "qarn/rpc.h"

namespace {

using ::testing::ElementsAre;

class NotesServer : public ::lab::plain::Notes::Service {
 public:
  void Copy(qarn::rpc::CallContext*, const Note& request,
            const CopyCallHandle& handle) override {
    handle->Send(request);
    handle->Close();
  }
};

class PurseServer : public ::Purse::Service {
 public:
  void Put(qarn::rpc::CallContext*, const Coin& request,
           const PutCallHandle& handle) override {
    handle->Send(request);
    handle->Close();
  }
};

class MixedNamespacesTest : public ::testing::TestWithParam<Way> {};

INSTANTIATE_TEST_SUITE_P(Ways, MixedNamespacesTest,
                         ::testing::Values(Way::kLocal, Way::kWebSocket),
                         WayName);

TEST_P(MixedNamespacesTest, AllAnswerOverOneChannel) {
  KindsServer kinds;
  NotesServer notes;
  PurseServer purse;
  Reach reach(GetParam());
  ASSERT_TRUE(reach.Register(kinds.service()));
  ASSERT_TRUE(reach.Register(notes.service()));
  ASSERT_TRUE(reach.Register(purse.service()));
  const qarn::rpc::ClientContext context;

  lab::kinds::api::Kinds::Stub kinds_stub("client", "endpoint", context,
                                          reach.channel());
  Recorder<lab::kinds::Answer> answers;
  kinds_stub.Ask(MakeQuery("q"), &answers);
  EXPECT_TRUE(answers.succeeded());
  EXPECT_THAT(Texts(answers), ElementsAre("server: q"));

  lab::plain::Notes::Stub notes_stub("client", "endpoint", context,
                                     reach.channel());
  lab::plain::Note note;
  note.set_text("milk");
  Recorder<lab::plain::Note> copies;
  notes_stub.Copy(note, &copies);
  EXPECT_TRUE(copies.succeeded());
  ASSERT_EQ(copies.messages.size(), 1u);
  EXPECT_EQ(copies.messages[0].text(), "milk");

  ::Purse::Stub purse_stub("client", "endpoint", context, reach.channel());
  ::Coin coin;
  coin.set_value(5);
  Recorder<::Coin> coins;
  purse_stub.Put(coin, &coins);
  EXPECT_TRUE(coins.succeeded());
  ASSERT_EQ(coins.messages.size(), 1u);
  EXPECT_EQ(coins.messages[0].value(), 5);
}

// The services namespace is a matter of C++ alone: it is in no name that goes
// over the wire.
TEST(NamesTest, KnowNothingOfTheServicesNamespace) {
  EXPECT_STREQ(lab::kinds::api::Kinds::full_name(), "lab.kinds.Kinds");
  EXPECT_STREQ(lab::plain::Notes::full_name(), "lab.plain.Notes");
  EXPECT_STREQ(lab::plain::Notes::package(), "lab.plain");
  EXPECT_STREQ(::Purse::full_name(), "Purse");
  EXPECT_STREQ(::Purse::package(), "");
  EXPECT_STREQ(::PurseMethods<::Purse_Put>::full_name(), "Purse/Put");
  EXPECT_STREQ(lab::plain::NotesMethods<lab::plain::Notes_Copy>::full_name(),
               "lab.plain.Notes/Copy");
}

}  // namespace
