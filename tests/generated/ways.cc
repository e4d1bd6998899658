#include "ways.h"

#include <chrono>
#include <string>

#include "qarn/rpc/websocket.h"

struct Reach::WebSocket {
  qarn::rpc::Loop loop;
  qarn::rpc::WebSocketServer server{&loop};
  boost::shared_ptr<qarn::rpc::WebSocketChannel> channel;
};

Reach::Reach(Way way) {
  if (way == Way::kLocal) {
    local_.reset(new qarn::rpc::LocalChannel);
  } else {
    websocket_ = std::make_unique<WebSocket>();
  }
}

Reach::~Reach() {
  if (!websocket_) return;
  websocket_->channel.reset();
  websocket_->server.Stop(std::chrono::seconds(10));
}

bool Reach::Register(qarn::rpc::RpcService* service) {
  return local_ ? local_->Register(service)
                : websocket_->server.Register(service);
}

boost::shared_ptr<qarn::rpc::Channel> Reach::channel() {
  if (local_) return local_;
  if (!websocket_->channel) {
    std::string reason;
    EXPECT_TRUE(websocket_->server.Listen("127.0.0.1", 0, &reason)) << reason;
    websocket_->channel.reset(new qarn::rpc::WebSocketChannel(
        &websocket_->loop, "127.0.0.1", websocket_->server.port()));
  }
  return websocket_->channel;
}
