#include "platform/net/backend.h"

#include "platform/net/curl_backend.h"

namespace vistara::net {
namespace {

std::atomic<Backend*> g_installed{nullptr};
// The backend whose callback this thread is running, if any.
thread_local const Backend* t_in_callback = nullptr;

}  // namespace

bool Backend::InCallbackOnThisThread() const { return t_in_callback == this; }

Backend* SetBackend(Backend* backend) { return g_installed.exchange(backend); }

Backend* CurrentBackend() {
  Backend* installed = g_installed.load();
  return installed ? installed : CurlBackend::Default();
}

Request::Request(Backend* backend, const FetchParams& params) : backend_(backend), params_(params) {}

QByteArray Request::body() const {
  // body_ is complete and immutable once status_ is set; before that it may be in the making.
  return status() == kStatusInFlight ? QByteArray() : body_;
}

void Request::cancel() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (ended_) return;
  }
  backend_->Cancel(this);
  // Inside a callback of this backend, waiting would wait for ourselves.
  if (backend_->InCallbackOnThisThread()) return;
  std::unique_lock<std::mutex> lock(mutex_);
  ended_cv_.wait(lock, [this] { return ended_; });
}

void Request::Deliver(int status, QByteArray body) {
  body_ = std::move(body);
  status_.store(status, std::memory_order_release);
  const Backend* outer = std::exchange(t_in_callback, backend_);
  if (params_.callback) params_.callback(*this);
  t_in_callback = outer;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    ended_ = true;
  }
  ended_cv_.notify_all();
}

}  // namespace vistara::net
