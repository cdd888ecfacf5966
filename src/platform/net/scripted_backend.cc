#include "platform/net/scripted_backend.h"

#include <algorithm>

namespace vistara::net {

ScriptedBackend::ScriptedBackend() : previous_(SetBackend(this)) {}

ScriptedBackend::~ScriptedBackend() {
  while (!PendingUrls().isEmpty()) ReplyNext(kStatusCancelled);
  SetBackend(previous_);
}

RefPtr<Fetcher> ScriptedBackend::Start(const FetchParams& params) {
  RefPtr<Request> request(new Request(this, params));
  std::lock_guard<std::mutex> lock(mutex_);
  open_.push_back(request);
  started_.push_back(params);
  return request;
}

QStringList ScriptedBackend::PendingUrls() const {
  std::lock_guard<std::mutex> lock(mutex_);
  QStringList urls;
  for (const RefPtr<Request>& r : open_) urls << r->params().url;
  return urls;
}

std::vector<FetchParams> ScriptedBackend::Started() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return started_;
}

bool ScriptedBackend::Reply(const QString& url, int status, const QByteArray& body) {
  RefPtr<Request> request;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto it = std::find_if(open_.begin(), open_.end(), [&](const RefPtr<Request>& r) { return r->params().url == url; });
    if (it == open_.end()) return false;
    request = *it;
    open_.erase(it);
  }
  Deliver(request, status, body);
  return true;
}

bool ScriptedBackend::ReplyNext(int status, const QByteArray& body) {
  RefPtr<Request> request;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (open_.empty()) return false;
    request = open_.front();
    open_.pop_front();
  }
  Deliver(request, status, body);
  return true;
}

void ScriptedBackend::Cancel(Request* request) {
  const RefPtr<Request> open = TakeOpen(request);
  if (!open) return;  // already ending on some thread
  if (InCallbackOnThisThread()) {
    std::lock_guard<std::mutex> lock(mutex_);
    deferred_.push_back(open);
  } else {
    Deliver(open, kStatusCancelled, QByteArray());
  }
}

RefPtr<Request> ScriptedBackend::TakeOpen(const Request* request) {
  std::lock_guard<std::mutex> lock(mutex_);
  const auto it = std::find_if(open_.begin(), open_.end(), [&](const RefPtr<Request>& r) { return r.get() == request; });
  if (it == open_.end()) return RefPtr<Request>();
  RefPtr<Request> found = *it;
  open_.erase(it);
  return found;
}

void ScriptedBackend::Deliver(const RefPtr<Request>& request, int status, const QByteArray& body) {
  std::lock_guard<std::mutex> one_at_a_time(delivery_);
  request->Deliver(status, body);
  for (;;) {
    RefPtr<Request> next;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      if (deferred_.empty()) return;
      next = deferred_.front();
      deferred_.pop_front();
    }
    next->Deliver(kStatusCancelled, QByteArray());
  }
}

}  // namespace vistara::net
