#include "platform/net/curl_backend.h"

#include <curl/curl.h>
#include <pthread.h>

#include <QStringList>
#include <QUrl>
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <list>
#include <map>
#include <string>
#include <thread>
#include <vector>

namespace vistara::net {
namespace {

using Clock = std::chrono::steady_clock;

// The connect-to remap shared by every backend, as CURLOPT_CONNECT_TO entries.
struct Remap {
  std::mutex mutex;
  bool environment_read = false;      // guarded by mutex
  std::vector<std::string> entries;   // guarded by mutex
};

Remap& TheRemap() {
  static Remap remap;
  return remap;
}

bool IsPort(const QString& text) {
  bool ok = false;
  const int port = text.toInt(&ok, 10);
  return ok && port >= 1 && port <= 65535;
}

bool ParseRemap(const QString& text, std::vector<std::string>* out) {
  out->clear();
  for (const QString& item : text.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
    const QStringList parts = item.trimmed().split(QLatin1Char(':'));
    if (parts.size() != 3 || (!parts[1].isEmpty() && !IsPort(parts[1])) || !IsPort(parts[2])) return false;
    out->push_back((parts[0] + QLatin1Char(':') + parts[1] + QStringLiteral(":127.0.0.1:") + parts[2]).toStdString());
  }
  return true;
}

std::vector<std::string> CurrentRemap() {
  Remap& remap = TheRemap();
  std::lock_guard<std::mutex> lock(remap.mutex);
  if (!remap.environment_read) {
    remap.environment_read = true;
    std::vector<std::string> entries;
    // A malformed variable is ignored: there is nobody to tell at this point.
    if (ParseRemap(qEnvironmentVariable("VISTARA_NET_CONNECT_TO"), &entries)) remap.entries = std::move(entries);
  }
  return remap.entries;
}

}  // namespace

bool SetConnectTo(const QString& text) {
  std::vector<std::string> entries;
  if (!ParseRemap(text, &entries)) return false;
  Remap& remap = TheRemap();
  std::lock_guard<std::mutex> lock(remap.mutex);
  remap.environment_read = true;  // a call wins over the variable
  remap.entries = std::move(entries);
  return true;
}

// One request on the network thread: waiting for its start (easy is null), then running.
struct Transfer {
  ~Transfer() {
    if (easy) curl_easy_cleanup(easy);
    curl_slist_free_all(headers);
    curl_slist_free_all(connect_to);
  }

  RefPtr<Request> request;
  std::string url;       // percent-encoded
  std::string host_key;  // scheme://host:port, the unit of request spacing
  CURL* easy = nullptr;
  curl_slist* headers = nullptr;
  curl_slist* connect_to = nullptr;
  QByteArray received;
  int64_t limit = 0;  // bytes of body allowed
  bool over_limit = false;
};

struct CurlBackend::Loop {
  explicit Loop(const Options& o);
  ~Loop();
  void Run();
  void Wake() { curl_multi_wakeup(multi); }

  void Add(RefPtr<Request> request);
  // Starts every waiting transfer whose spacing allows it; returns the time of the next start
  // that spacing holds back (Clock's max if none).
  Clock::time_point StartDue();
  bool Begin(Transfer* t);
  void Harvest();
  void Finish(std::list<Transfer>::iterator t, int status);
  int StatusOf(CURLcode code, const Transfer& t) const;

  const Options options;
  CURLM* const multi;

  std::mutex mutex;
  std::vector<RefPtr<Request>> incoming;   // guarded by mutex
  std::vector<RefPtr<Request>> cancels;    // guarded by mutex
  bool stopping = false;                   // guarded by mutex

  // The network thread's own.
  std::list<Transfer> transfers;
  std::map<std::string, Clock::time_point> last_start;  // by host key

  std::thread thread;  // last: starts once the members above exist
};

namespace {

size_t OnBody(char* data, size_t size, size_t count, void* user) {
  Transfer* t = static_cast<Transfer*>(user);
  const size_t n = size * count;
  if (static_cast<int64_t>(t->received.size()) + static_cast<int64_t>(n) > t->limit) {
    t->over_limit = true;
    return 0;  // any count other than n stops the transfer with CURLE_WRITE_ERROR
  }
  t->received.append(data, static_cast<qsizetype>(n));
  return n;
}

CURLM* NewMulti(const CurlBackend::Options& o) {
  static std::once_flag once;
  std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
  CURLM* multi = curl_multi_init();
  curl_multi_setopt(multi, CURLMOPT_MAX_HOST_CONNECTIONS, static_cast<long>(o.max_host_connections));
  return multi;
}

}  // namespace

CurlBackend::Loop::Loop(const Options& o) : options(o), multi(NewMulti(o)), thread([this] { Run(); }) {
  pthread_setname_np(thread.native_handle(), "vistara-net");
}

CurlBackend::Loop::~Loop() {
  {
    std::lock_guard<std::mutex> lock(mutex);
    stopping = true;
  }
  Wake();
  thread.join();
  curl_multi_cleanup(multi);
}

void CurlBackend::Loop::Run() {
  for (;;) {
    std::vector<RefPtr<Request>> arrived, cancelled;
    bool stop;
    {
      std::lock_guard<std::mutex> lock(mutex);
      arrived.swap(incoming);
      cancelled.swap(cancels);
      stop = stopping;
    }
    for (RefPtr<Request>& r : arrived) Add(std::move(r));
    for (const RefPtr<Request>& r : cancelled) {
      auto t = std::find_if(transfers.begin(), transfers.end(), [&](const Transfer& x) { return x.request == r; });
      if (t != transfers.end()) Finish(t, kStatusCancelled);
    }
    if (stop) {
      while (!transfers.empty()) Finish(transfers.begin(), kStatusCancelled);
      // Callbacks may have started more; they end the same way on the next turn.
      std::lock_guard<std::mutex> lock(mutex);
      if (incoming.empty()) return;
      continue;
    }
    const Clock::time_point next_start = StartDue();
    int running = 0;
    curl_multi_perform(multi, &running);
    Harvest();

    long wait_ms = -1;
    curl_multi_timeout(multi, &wait_ms);
    if (wait_ms < 0 || wait_ms > 60000) wait_ms = 60000;  // a wake-up ends every wait early
    if (next_start != Clock::time_point::max()) {
      const auto until = std::chrono::ceil<std::chrono::milliseconds>(next_start - Clock::now()).count();
      wait_ms = std::clamp<long>(static_cast<long>(until), 0, wait_ms);
    }
    curl_multi_poll(multi, nullptr, 0, static_cast<int>(wait_ms), nullptr);
  }
}

void CurlBackend::Loop::Add(RefPtr<Request> request) {
  Transfer& t = transfers.emplace_back();
  t.request = std::move(request);
  const FetchParams& p = t.request->params();
  // QUrl::toString() shows spaces and non-ASCII decoded; parsing the text again and taking
  // toEncoded() gives the bytes that belong on the wire.
  const QUrl url(p.url);
  const QString scheme = url.scheme().toLower();
  if (url.isValid() && !url.host().isEmpty() && (scheme == QLatin1String("http") || scheme == QLatin1String("https"))) {
    t.url = url.toEncoded().toStdString();
    t.host_key = (scheme + QStringLiteral("://") + url.host() + QLatin1Char(':') +
                  QString::number(url.port(scheme == QLatin1String("https") ? 443 : 80))).toStdString();
  } else {
    Finish(std::prev(transfers.end()), kStatusFailed);
  }
}

Clock::time_point CurlBackend::Loop::StartDue() {
  Clock::time_point next = Clock::time_point::max();
  const Clock::time_point now = Clock::now();
  for (auto it = transfers.begin(); it != transfers.end();) {
    const auto t = it++;  // Finish erases t only
    if (t->easy) continue;
    // A spacing that isn't a finite positive number is none; more than a day is a day, which
    // keeps the time arithmetic in range.
    const double spacing = std::min(t->request->params().seconds_between_requests, 86400.0);
    const auto last = last_start.find(t->host_key);
    if (spacing > 0 && last != last_start.end()) {
      const auto due = last->second + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(spacing));
      if (due > now) {
        next = std::min(next, due);
        continue;
      }
    }
    last_start[t->host_key] = now;
    if (!Begin(&*t)) Finish(t, kStatusFailed);
  }
  return next;
}

bool CurlBackend::Loop::Begin(Transfer* t) {
  const FetchParams& p = t->request->params();
  t->easy = curl_easy_init();
  if (!t->easy) return false;
  CURL* e = t->easy;
  t->limit = p.max_body_bytes > 0 ? p.max_body_bytes : options.max_body_bytes;
  curl_easy_setopt(e, CURLOPT_URL, t->url.c_str());
  curl_easy_setopt(e, CURLOPT_PRIVATE, t);
  curl_easy_setopt(e, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(e, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(e, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(e, CURLOPT_FOLLOWLOCATION, p.follow_redirects ? 1L : 0L);
  curl_easy_setopt(e, CURLOPT_MAXREDIRS, 10L);
  curl_easy_setopt(e, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(options.connect_timeout_ms));
  curl_easy_setopt(e, CURLOPT_TIMEOUT_MS, static_cast<long>(p.timeout_ms > 0 ? p.timeout_ms : options.timeout_ms));
  curl_easy_setopt(e, CURLOPT_LOW_SPEED_LIMIT, 1L);
  curl_easy_setopt(e, CURLOPT_LOW_SPEED_TIME, static_cast<long>(options.low_speed_seconds));
  curl_easy_setopt(e, CURLOPT_SSL_VERIFYPEER, 1L);
  curl_easy_setopt(e, CURLOPT_SSL_VERIFYHOST, 2L);
  curl_easy_setopt(e, CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(t->limit));
  curl_easy_setopt(e, CURLOPT_WRITEFUNCTION, &OnBody);
  curl_easy_setopt(e, CURLOPT_WRITEDATA, t);
  const std::string agent = p.user_agent.isNull() ? std::string("vistara-spatial/" VISTARA_SPATIAL_VERSION)
                                                  : p.user_agent.toStdString();
  curl_easy_setopt(e, CURLOPT_USERAGENT, agent.c_str());  // libcurl keeps a copy of every string
  for (const QString& h : p.headers) t->headers = curl_slist_append(t->headers, h.toUtf8().constData());
  if (t->headers) curl_easy_setopt(e, CURLOPT_HTTPHEADER, t->headers);
  if (!p.post_data.isNull()) {
    const QByteArray data = p.post_data.toUtf8();
    curl_easy_setopt(e, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(data.size()));
    curl_easy_setopt(e, CURLOPT_COPYPOSTFIELDS, data.constData());
  }
  if (p.accept_compressed) curl_easy_setopt(e, CURLOPT_ACCEPT_ENCODING, "");
  for (const std::string& entry : CurrentRemap()) t->connect_to = curl_slist_append(t->connect_to, entry.c_str());
  if (t->connect_to) curl_easy_setopt(e, CURLOPT_CONNECT_TO, t->connect_to);
  return curl_multi_add_handle(multi, e) == CURLM_OK;
}

void CurlBackend::Loop::Harvest() {
  int left = 0;
  while (CURLMsg* msg = curl_multi_info_read(multi, &left)) {
    if (msg->msg != CURLMSG_DONE) continue;
    const CURLcode code = msg->data.result;  // read before Finish frees the message
    Transfer* t = nullptr;
    curl_easy_getinfo(msg->easy_handle, CURLINFO_PRIVATE, &t);
    const auto it = std::find_if(transfers.begin(), transfers.end(), [&](const Transfer& x) { return &x == t; });
    if (it != transfers.end()) Finish(it, StatusOf(code, *t));
  }
}

int CurlBackend::Loop::StatusOf(CURLcode code, const Transfer& t) const {
  if (t.over_limit) return kStatusCutShort;
  switch (code) {
    case CURLE_OK: {
      long http = 0;
      curl_easy_getinfo(t.easy, CURLINFO_RESPONSE_CODE, &http);
      if (http >= 200 && http <= 299) return kStatusOk;
      // A status line of fewer than three digits would collide with our own numbers.
      return http >= 100 && http <= 999 ? static_cast<int>(http) : kStatusProtocolError;
    }
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
      return GetInternetConnectionStatus() ? kStatusHostNotFound : kStatusNoConnection;
    case CURLE_COULDNT_CONNECT: {
      long os_error = 0;
      curl_easy_getinfo(t.easy, CURLINFO_OS_ERRNO, &os_error);
      return os_error == ENETUNREACH ? kStatusNoConnection : kStatusConnectionRefused;
    }
    case CURLE_SEND_ERROR:
      return kStatusConnectionRefused;
    case CURLE_OPERATION_TIMEDOUT:
      return kStatusTimedOut;
    case CURLE_PARTIAL_FILE:
    case CURLE_RECV_ERROR:
    case CURLE_OUT_OF_MEMORY:  // what libcurl reports for a header beyond its limit
    case CURLE_GOT_NOTHING:
    case CURLE_FILESIZE_EXCEEDED:
    case CURLE_WRITE_ERROR:
      return kStatusCutShort;
    case CURLE_UNSUPPORTED_PROTOCOL:  // the scheme was checked before: here a reply that isn't HTTP
    case CURLE_WEIRD_SERVER_REPLY:
    case CURLE_HTTP2:
    case CURLE_HTTP2_STREAM:
    case CURLE_BAD_CONTENT_ENCODING:
    case CURLE_TOO_MANY_REDIRECTS:
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_SHUTDOWN_FAILED:
      return kStatusProtocolError;
    default:
      return kStatusFailed;
  }
}

void CurlBackend::Loop::Finish(std::list<Transfer>::iterator t, int status) {
  RefPtr<Request> request = std::move(t->request);
  QByteArray body = std::move(t->received);
  if (t->easy) curl_multi_remove_handle(multi, t->easy);
  transfers.erase(t);
  request->Deliver(status, std::move(body));
}

CurlBackend::CurlBackend() : CurlBackend(Options()) {}

CurlBackend::CurlBackend(const Options& options) : loop_(std::make_unique<Loop>(options)) {}

CurlBackend::~CurlBackend() = default;

RefPtr<Fetcher> CurlBackend::Start(const FetchParams& params) {
  RefPtr<Request> request(new Request(this, params));
  {
    std::lock_guard<std::mutex> lock(loop_->mutex);
    loop_->incoming.push_back(request);
  }
  loop_->Wake();
  return request;
}

void CurlBackend::Cancel(Request* request) {
  {
    std::lock_guard<std::mutex> lock(loop_->mutex);
    loop_->cancels.push_back(RefPtr<Request>(request));
  }
  loop_->Wake();
}

CurlBackend* CurlBackend::Default() {
  static CurlBackend backend;
  return &backend;
}

}  // namespace vistara::net
