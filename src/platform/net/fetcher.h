// vistara::net::Fetcher: one HTTP request of the host's network layer, and its outcome.
//
// Fetcher::fetch(params, mm) hands a request to the process-wide backend (platform/net/backend.h)
// and returns the request object at once, with one reference held by the RefPtr. The default
// backend is libcurl on one network thread (platform/net/curl_backend.h); tests may install a
// scripted one (platform/net/scripted_backend.h).
//
// The contract every backend keeps:
// - Every started fetch calls its callback exactly once: on the backend's network thread, one
//   callback at a time, never from inside fetch(). A null callback is allowed; the request then
//   simply ends.
// - cancel() is idempotent and may be called from any thread. A request that hasn't ended yet
//   ends with status 3 (its callback runs with status 3). Once cancel() returns, the callback has
//   run; the one exception is a cancel() called from inside a callback of the same backend, which
//   can't wait for itself: the cancelled request's callback then runs after the current one.
// - The backend holds its own reference until the callback has returned, so the host may drop the
//   last reference at any time, also from inside the callback.
// - body() and status() read as empty and 0 until the callback starts, and never change after.
//
// Statuses delivered to the callback (0, 1 and 4 never are):
//   2        a complete reply with an HTTP status of 200 to 299
//   3        cancelled
//   5        host not found
//   6        connection refused (or the connection failed otherwise)
//   7        timed out (connect, total, or a stall below the low-speed limit)
//   8        the reply was cut short, or its body went over the size limit
//   9        protocol error: not HTTP, a malformed reply, TLS failure
//   10       no connection: the machine has no network to reach the host with
//   11       anything else (a malformed URL, an unsupported scheme, ...)
//   100-999  an HTTP reply outside 200-299, by its own status code (3xx only when redirects are
//            not followed); its body is delivered too
#ifndef VISTARA_PLATFORM_NET_FETCHER_H_
#define VISTARA_PLATFORM_NET_FETCHER_H_

#include <QByteArray>
#include <QString>
#include <cstdint>
#include <string>

#include "platform/memory.h"
#include "platform/referent.h"

namespace vistara::net {

inline constexpr int kStatusInFlight = 0;  // read from status() before the callback; never delivered
inline constexpr int kStatusOk = 2;
inline constexpr int kStatusCancelled = 3;
inline constexpr int kStatusHostNotFound = 5;
inline constexpr int kStatusConnectionRefused = 6;
inline constexpr int kStatusTimedOut = 7;
inline constexpr int kStatusCutShort = 8;
inline constexpr int kStatusProtocolError = 9;
inline constexpr int kStatusNoConnection = 10;
inline constexpr int kStatusFailed = 11;

// A short name of `status` for logs and JSON: "ok", "cancelled", "host not found", "connection
// refused", "timed out", "reply cut short or too large", "protocol error", "no connection",
// "failed", "in flight" for 0, "http 404" for an HTTP code, "unknown 4" for anything else.
std::string StatusName(int status);

class Fetcher : public Referent {
 public:
  using Callback = void (*)(Fetcher& fetcher);

  struct FetchParams {
    FetchParams();

    QString url;        // the request's URL as text; re-encoded before it goes out
    QString post_data;  // null: GET; otherwise POST with these bytes (UTF-8) as the body
    QString user_agent; // null: the library's own
    mmvector<QString> headers;  // extra "Name: value" lines; on the transient heap
    Callback callback = nullptr;
    void* context = nullptr;    // handed back by context()
    // The least time between the starts of two requests to the same host, in seconds; 0 for none.
    // The backend holds this request back until that much has passed since the last start.
    double seconds_between_requests = 0;
    int32_t timeout_ms = 0;         // whole request, in milliseconds; 0: the backend's default
    bool follow_redirects = false;  // false delivers a 3xx reply as its status code
    bool accept_compressed = false; // offer gzip and deflate; the body arrives decoded
    int32_t max_body_bytes = 0;     // 0: the backend's default limit
  };

  // Starts the request on the current backend. `mm` names the heap the host would place the
  // request object on; the request objects here always live on the default heap. Never null.
  static RefPtr<Fetcher> fetch(const FetchParams& params, MemoryManager* mm);

  // The reply's body: the bytes received (decoded when compressed), also for an HTTP error.
  virtual QByteArray body() const = 0;
  // The status of the table above; 0 until the callback starts.
  virtual int status() const = 0;
  // The params' context pointer.
  virtual void* context() const = 0;
  // Ends the request with status 3 unless it has ended already; see the contract above.
  virtual void cancel() = 0;

 protected:
  ~Fetcher() override = default;
};

using FetchParams = Fetcher::FetchParams;

// True if the machine has a network interface other than loopback that is up and has an IPv4 or
// IPv6 address. Cheap enough to call per request.
bool GetInternetConnectionStatus();

}  // namespace vistara::net

#endif  // VISTARA_PLATFORM_NET_FETCHER_H_
