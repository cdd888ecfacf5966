// ScriptedBackend: an in-process network backend for deterministic tests.
//
// Requests wait until the test answers them; nothing goes over the network. The thread that calls
// Reply (or cancel() on an open request, or the destructor) plays the network thread: the
// callback runs there, before the call returns, one callback at a time across threads. A cancel()
// from inside a callback ends its request right after that callback returns, still within the
// same call.
//
// The constructor installs the backend (SetBackend) and the destructor ends every open request
// with status 3, then puts back the backend that was installed before. Thread-safe.
#ifndef VISTARA_PLATFORM_NET_SCRIPTED_BACKEND_H_
#define VISTARA_PLATFORM_NET_SCRIPTED_BACKEND_H_

#include <QByteArray>
#include <QStringList>
#include <deque>
#include <mutex>
#include <vector>

#include "platform/net/backend.h"

namespace vistara::net {

class ScriptedBackend : public Backend {
 public:
  ScriptedBackend();
  ~ScriptedBackend() override;
  ScriptedBackend(const ScriptedBackend&) = delete;
  ScriptedBackend& operator=(const ScriptedBackend&) = delete;

  RefPtr<Fetcher> Start(const FetchParams& params) override;

  // The URLs of the open requests, oldest first.
  QStringList PendingUrls() const;
  // The params of every request started so far, answered or not, in order.
  std::vector<FetchParams> Started() const;
  // Ends the oldest open request for `url` with `status` and `body` (its callback runs on this
  // thread). False, and nothing done, if no request for `url` is open.
  bool Reply(const QString& url, int status, const QByteArray& body = QByteArray());
  // The same for the oldest open request, whatever its URL.
  bool ReplyNext(int status, const QByteArray& body = QByteArray());

 protected:
  void Cancel(Request* request) override;

 private:
  // Takes `request` out of the open list; null if it isn't there.
  RefPtr<Request> TakeOpen(const Request* request);
  void Deliver(const RefPtr<Request>& request, int status, const QByteArray& body);

  Backend* const previous_;
  mutable std::mutex mutex_;
  std::deque<RefPtr<Request>> open_;      // guarded by mutex_
  std::vector<FetchParams> started_;      // guarded by mutex_
  std::deque<RefPtr<Request>> deferred_;  // guarded by mutex_: cancelled from inside a callback
  std::mutex delivery_;                   // held while a callback runs
};

}  // namespace vistara::net

#endif  // VISTARA_PLATFORM_NET_SCRIPTED_BACKEND_H_
