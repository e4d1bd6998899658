// Part of the example runtime (see qarn/rpc/tcp.h): the threads that read,
// write and call observers.
#ifndef QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_TCP_IO_THREADS_H_
#define QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_TCP_IO_THREADS_H_

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <cstddef>
#include <mutex>
#include <thread>
#include <vector>

namespace qarn {
namespace rpc {

// A pool of threads, which channels and servers share. It must outlive them.
//
// Handlers and observers run on these threads, and so does all reading and
// writing. One of them may wait in Send for as long as it takes: when the last
// free thread begins to wait, the pool gets another, up to `most`. Nothing
// knows of other ways to wait, so have at least one thread more than there are
// observers that may sleep at one time.
class IoThreads {
 public:
  explicit IoThreads(std::size_t threads = 1, std::size_t most = 256)
      : most_(most), work_(context_.get_executor()) {
    const std::lock_guard<std::mutex> lock(mutex_);
    for (std::size_t i = 0; i < threads || i == 0; ++i) Add();
  }
  // Ends the threads. Not to be called by one of them.
  ~IoThreads() {
    work_.reset();
    // None is added any more: only a call could do that, and all have ended.
    std::vector<std::thread> threads;
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      threads.swap(threads_);
    }
    for (std::thread& thread : threads) thread.join();
  }
  IoThreads(const IoThreads&) = delete;
  IoThreads& operator=(const IoThreads&) = delete;

  boost::asio::io_context& context() { return context_; }

  // The pool whose thread this is, or null.
  static IoThreads*& current() {
    static thread_local IoThreads* pool = nullptr;
    return pool;
  }

  // Lives while a thread waits in Send.
  class Waiting {
   public:
    Waiting() : pool_(current()), allowed_(!pool_ || pool_->StartWaiting()) {}
    ~Waiting() {
      if (pool_ && allowed_) pool_->StopWaiting();
    }
    Waiting(const Waiting&) = delete;
    Waiting& operator=(const Waiting&) = delete;
    // False if the pool would have no free thread left; do not wait then.
    bool allowed() const { return allowed_; }

   private:
    IoThreads* const pool_;
    const bool allowed_;
  };

 private:
  void Add() {
    threads_.emplace_back([this] {
      current() = this;
      context_.run();
    });
  }

  bool StartWaiting() {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (waiting_ + 1 == threads_.size()) {
      if (threads_.size() >= most_) return false;
      Add();
    }
    ++waiting_;
    return true;
  }

  void StopWaiting() {
    const std::lock_guard<std::mutex> lock(mutex_);
    --waiting_;
  }

  const std::size_t most_;
  boost::asio::io_context context_;
  boost::asio::executor_work_guard<boost::asio::io_context::executor_type>
      work_;
  std::mutex mutex_;
  std::size_t waiting_ = 0;
  std::vector<std::thread> threads_;
};

}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_TCP_IO_THREADS_H_
