// The backends behind Fetcher::fetch, and the request object they share.
//
// A Backend starts requests and ends each one exactly once through Request::Deliver, on the
// thread it calls its network thread. SetBackend chooses the backend of every later fetch; the
// default is a process-wide CurlBackend made on first use and ended when the library unloads
// (requests still open then end with status 3).
//
// A Request records its outcome once and runs the callback; cancel() leaves the choice of how to
// end an open request to its backend (Backend::Cancel) and then waits for the callback, as the
// contract in platform/net/fetcher.h says.
#ifndef VISTARA_PLATFORM_NET_BACKEND_H_
#define VISTARA_PLATFORM_NET_BACKEND_H_

#include <QByteArray>
#include <atomic>
#include <condition_variable>
#include <mutex>

#include "platform/net/fetcher.h"

namespace vistara::net {

class Request;

class Backend {
 public:
  virtual ~Backend() = default;
  // Starts a request; its callback never runs before this returns.
  virtual RefPtr<Fetcher> Start(const FetchParams& params) = 0;

  // True while the calling thread runs a callback of this backend.
  bool InCallbackOnThisThread() const;

 protected:
  friend class Request;
  // Asks that `request`, started here and not yet ended, end with status 3 through Deliver. It
  // may already be ending on another thread; then nothing is to be done. Called with no lock.
  virtual void Cancel(Request* request) = 0;
};

// Makes `backend` the backend of every later fetch (null: the default libcurl backend) and
// returns the one before (null for the default). Not owned: a backend must stay alive until it
// is no longer installed and its requests have ended (each backend's destructor ends them).
Backend* SetBackend(Backend* backend);
// The backend of the next fetch: the installed one, or the default.
Backend* CurrentBackend();

class Request : public Fetcher {
 public:
  Request(Backend* backend, const FetchParams& params);

  QByteArray body() const override;
  int status() const override { return status_.load(std::memory_order_acquire); }
  void* context() const override { return params_.context; }
  void cancel() override;

  const FetchParams& params() const { return params_; }
  // Records the outcome and runs the callback on the calling thread, then wakes every cancel()
  // waiting for it. The backend calls it once per request, holding a reference and no lock.
  void Deliver(int status, QByteArray body);

 private:
  Backend* const backend_;
  const FetchParams params_;
  QByteArray body_;  // written once, before status_ becomes non-zero
  std::atomic<int> status_{kStatusInFlight};
  std::mutex mutex_;
  std::condition_variable ended_cv_;
  bool ended_ = false;  // guarded by mutex_: the callback has returned
};

}  // namespace vistara::net

#endif  // VISTARA_PLATFORM_NET_BACKEND_H_
