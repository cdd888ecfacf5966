// CurlBackend: the default network backend, libcurl's multi interface on one network thread.
//
// The thread starts requests, moves their bytes and runs every callback, one at a time. Each
// request gets: no signals (CURLOPT_NOSIGNAL), a connect timeout, a total timeout and a low-speed
// limit (Options), TLS verification of peer and host, HTTP and HTTPS only (redirects too), a cap
// on the body, proxies from the environment as libcurl reads them (http_proxy, https_proxy,
// no_proxy), and no retries. The URL text is parsed by QUrl and re-encoded, so that a text from
// QUrl::toString() (which shows spaces and non-ASCII characters decoded) goes out
// percent-encoded. Connections are kept and reused between requests to one host.
//
// Requests that ask for spacing (seconds_between_requests) wait in the backend until that much
// time has passed since the last start of a request to the same host (scheme, host and port of
// the URL); others start at once.
//
// The destructor ends every open request with status 3, delivering those callbacks on the
// network thread, and joins it. It must not run on the network thread.
//
// Connect-to remap: SetConnectTo("panoramas.example:80:8080") sends every connection for
// panoramas.example port 80 to 127.0.0.1 port 8080, keeping the URL (and its Host header) as it
// is, so that fixed-host URLs can reach a loopback server. The variable VISTARA_NET_CONNECT_TO
// holds the same text and is read once, at the first request.
#ifndef VISTARA_PLATFORM_NET_CURL_BACKEND_H_
#define VISTARA_PLATFORM_NET_CURL_BACKEND_H_

#include <QString>
#include <cstdint>
#include <memory>

#include "platform/net/backend.h"

namespace vistara::net {

class CurlBackend : public Backend {
 public:
  struct Options {
    int32_t connect_timeout_ms = 10000;
    int32_t timeout_ms = 60000;           // whole request, unless its params give one
    int32_t low_speed_seconds = 30;       // fails a reply slower than 1 byte/s for this long
    int32_t max_body_bytes = 32 << 20;    // unless the params give one
    // Connections open at once to one host; further requests queue inside libcurl. 0: no limit.
    int32_t max_host_connections = 8;
  };

  CurlBackend();
  explicit CurlBackend(const Options& options);
  ~CurlBackend() override;
  CurlBackend(const CurlBackend&) = delete;
  CurlBackend& operator=(const CurlBackend&) = delete;

  RefPtr<Fetcher> Start(const FetchParams& params) override;

  // The process-wide backend that Fetcher::fetch uses unless another is installed.
  static CurlBackend* Default();

 protected:
  void Cancel(Request* request) override;

 private:
  struct Loop;
  std::unique_ptr<Loop> loop_;
};

// Sets the connect-to remap of every CurlBackend: a comma-separated list of HOST:PORT:LOCALPORT,
// each sending connections for HOST and PORT to 127.0.0.1 and LOCALPORT. An empty HOST or PORT
// matches any. An empty text removes the remap. Returns false, and keeps the remap as it was, if
// the text is malformed (a port that isn't 1 to 65535, a missing field). Requests started
// afterwards use the new remap.
bool SetConnectTo(const QString& text);

}  // namespace vistara::net

#endif  // VISTARA_PLATFORM_NET_CURL_BACKEND_H_
