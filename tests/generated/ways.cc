#include "ways.h"

#include <chrono>
#include <string>

#include "qarn/rpc/tcp.h"

struct Reach::Tcp {
  qarn::rpc::IoThreads threads{2};
  qarn::rpc::TcpServer server{&threads};
  boost::shared_ptr<qarn::rpc::TcpChannel> channel;
};

Reach::Reach(Way way) {
  if (way == Way::kLocal) {
    local_.reset(new qarn::rpc::LocalChannel);
  } else {
    tcp_ = std::make_unique<Tcp>();
  }
}

Reach::~Reach() {
  if (!tcp_) return;
  tcp_->channel.reset();
  tcp_->server.Stop(std::chrono::seconds(10));
}

bool Reach::Register(qarn::rpc::RpcService* service) {
  return local_ ? local_->Register(service) : tcp_->server.Register(service);
}

boost::shared_ptr<qarn::rpc::Channel> Reach::channel() {
  if (local_) return local_;
  if (!tcp_->channel) {
    std::string reason;
    EXPECT_TRUE(tcp_->server.Listen("127.0.0.1", 0, &reason)) << reason;
    tcp_->channel.reset(new qarn::rpc::TcpChannel(&tcp_->threads, "127.0.0.1",
                                                  tcp_->server.port()));
    EXPECT_TRUE(tcp_->channel->status().ok())
        << tcp_->channel->status().message();
  }
  return tcp_->channel;
}
