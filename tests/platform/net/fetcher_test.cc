// The libcurl backend against real servers on 127.0.0.1: every fault ends in exactly one callback
// with its status, cancellation keeps its promises, and requests go out as the params say.
#include "platform/net/fetcher.h"

#include <gtest/gtest.h>

#include <QUrl>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/net/curl_backend.h"
#include "platform/net/loopback_server.h"

namespace vistara::net {
namespace {

using testing::LoopbackServer;

// The callbacks of the request whose context it is.
struct Calls {
  static void Record(Fetcher& f) {
    Calls* c = static_cast<Calls*>(f.context());
    std::lock_guard<std::mutex> lock(c->mutex);
    c->statuses.push_back(f.status());
    c->body = f.body().toStdString();
    c->on_caller_thread = c->on_caller_thread || std::this_thread::get_id() == c->caller;
    c->cv.notify_all();
  }
  std::string Wait() {  // the body
    std::unique_lock<std::mutex> lock(mutex);
    EXPECT_TRUE(cv.wait_for(lock, std::chrono::seconds(20), [this] { return !statuses.empty(); }));
    return body;
  }
  const std::thread::id caller = std::this_thread::get_id();
  std::mutex mutex;
  std::condition_variable cv;
  std::vector<int> statuses;
  std::string body;
  bool on_caller_thread = false;
};

RefPtr<Fetcher> Fetch(FetchParams p, Calls* calls) {
  p.callback = &Calls::Record;
  p.context = calls;
  return Fetcher::fetch(p, nullptr);
}

std::string FetchBody(const FetchParams& p) {
  Calls calls;
  Fetch(p, &calls);
  return calls.Wait();
}

RefPtr<Fetcher> Get(const std::string& url, Calls* calls, int32_t timeout_ms = 0) {
  FetchParams p;
  p.url = QString::fromStdString(url);
  p.timeout_ms = timeout_ms;
  return Fetch(p, calls);
}

// A backend of its own for the test's scope.
struct ScopedCurlBackend {
  explicit ScopedCurlBackend(const CurlBackend::Options& o) : backend(o), previous(SetBackend(&backend)) {}
  ~ScopedCurlBackend() { SetBackend(previous); }
  CurlBackend backend;
  Backend* previous;
};

TEST(CurlBackendTest, EveryServerFaultEndsInOneCallbackAndTheUrlCanBeAskedAgain) {
  LoopbackServer server;
  server.ServeFaults("hello");
  const std::vector<std::pair<std::string, int>> cases = {
      {server.Url("/ok"), kStatusOk},           {server.Url("/empty"), kStatusOk},
      {server.Url("/trickle"), kStatusOk},      {server.Url("/404"), 404},
      {server.Url("/429"), 429},                {server.Url("/500"), 500},
      {server.Url("/503"), 503},                {server.Url("/504"), 504},
      {server.Url("/302"), 302},                {server.Url("/cut"), kStatusCutShort},
      {server.Url("/big"), kStatusCutShort},    {server.Url("/big-header"), kStatusCutShort},
      {server.Url("/stall"), kStatusTimedOut},  {LoopbackServer::RefusedUrl(), kStatusConnectionRefused},
      {"ftp://127.0.0.1/x", kStatusFailed},     {"", kStatusFailed}};
  CurlBackend::Options options;
  options.max_body_bytes = 4096;
  std::vector<Calls> calls(2 * cases.size());
  {
    ScopedCurlBackend backend(options);
    for (size_t i = 0; i < calls.size(); ++i) {
      const auto& [url, status] = cases[i % cases.size()];
      SCOPED_TRACE(url);
      RefPtr<Fetcher> f = Get(url, &calls[i], status == kStatusTimedOut ? 300 : 0);
      const std::string body = calls[i].Wait();
      EXPECT_EQ(f->status(), status) << StatusName(f->status());
      if (status == kStatusOk) {
        EXPECT_EQ(body, url.find("empty") == std::string::npos ? "hello" : "");
      }
      EXPECT_FALSE(calls[i].on_caller_thread);
    }
  }
  // The backend is gone, so every callback that would ever come has come.
  for (Calls& c : calls) EXPECT_EQ(c.statuses.size(), 1u);
}

TEST(CurlBackendTest, CancelEndsARequestOnceAndWaitsForItsCallback) {
  LoopbackServer server;
  server.ServeFaults("ok");
  Calls stalled, done, cancelled_inside, at_shutdown;
  {
    ScopedCurlBackend backend({});
    // An open request: when cancel() returns its callback has run, with status 3. Twice is once.
    RefPtr<Fetcher> a = Get(server.Url("/stall"), &stalled);
    a->cancel();
    EXPECT_EQ(stalled.statuses, std::vector<int>{kStatusCancelled});
    a->cancel();
    // An ended request stays as it ended.
    RefPtr<Fetcher> b = Get(server.Url("/ok"), &done);
    done.Wait();
    b->cancel();
    EXPECT_EQ(b->status(), kStatusOk);
    EXPECT_EQ(b->body(), "ok");

    // A callback that cancels another request, then drops the last reference to its own.
    struct Inside {
      RefPtr<Fetcher> self, other;
    } inside{nullptr, Get(server.Url("/stall"), &cancelled_inside)};
    FetchParams p;
    p.url = QString::fromStdString(server.Url("/ok"));
    p.context = &inside;
    p.callback = [](Fetcher& f) {
      Inside* in = static_cast<Inside*>(f.context());
      in->other->cancel();  // can't wait here: the cancelled callback runs after this one
      in->self.reset();
    };
    inside.self = Fetcher::fetch(p, nullptr);
    cancelled_inside.Wait();
    EXPECT_EQ(cancelled_inside.statuses, std::vector<int>{kStatusCancelled});

    // A null callback, and a request still open when the backend goes.
    p.callback = nullptr;
    p.url = QString::fromStdString(server.Url("/stall"));
    Fetcher::fetch(p, nullptr);
    Get(server.Url("/stall"), &at_shutdown);
  }
  EXPECT_EQ(at_shutdown.statuses, std::vector<int>{kStatusCancelled});
}

TEST(CurlBackendTest, RequestsGoOutAsTheParamsSay) {
  LoopbackServer server;
  const auto echo = [](const httplib::Request& req, httplib::Response& res) {
    const bool gzip = req.get_header_value("Accept-Encoding").find("gzip") != std::string::npos;
    res.set_content(req.method + "|" + req.target + "|" + req.get_header_value("Host") + "|" +
                        req.get_header_value("X-Extra") + "|" + req.get_header_value("User-Agent").substr(0, 8) +
                        "|" + (gzip ? "gzip" : "plain") + "|" + req.body,
                    "text/plain");
  };
  std::vector<std::chrono::steady_clock::time_point> arrivals;
  std::mutex mutex;
  server.server().Get("/spaced", [&](const httplib::Request&, httplib::Response&) {
    std::lock_guard<std::mutex> lock(mutex);
    arrivals.push_back(std::chrono::steady_clock::now());
  });
  server.server().Get("/moved", [&](const httplib::Request&, httplib::Response& res) { res.set_redirect(server.Url("/to")); });
  server.server().Get(".*", echo).Post(".*", echo);
  ScopedCurlBackend backend({});
  const std::string host = "127.0.0.1:" + std::to_string(server.port());

  // QUrl::toString() shows the space and the non-ASCII letter decoded; they go out encoded. A
  // compressed reply (httplib gzips text when offered) arrives decoded.
  QUrl url(QString::fromStdString(server.Url("/")));
  url.setPath(QStringLiteral("/a b/\u00e9"));
  url.setQuery(QStringLiteral("q=x y&amp=%26"));
  FetchParams p;
  p.url = url.toString();
  p.headers.push_back(QStringLiteral("X-Extra: yes"));
  p.user_agent = QStringLiteral("tester/1");
  p.accept_compressed = true;
  EXPECT_EQ(FetchBody(p), "GET|/a%20b/%C3%A9?q=x%20y&amp=%26|" + host + "|yes|tester/1|gzip|");

  // A fixed host reaches the loopback server with its own name in the Host header.
  for (const char* bad : {"panoramas.example:80", "panoramas.example:80:0", "panoramas.example:x:8080"}) {
    EXPECT_FALSE(SetConnectTo(QString::fromLatin1(bad))) << bad;
  }
  ASSERT_TRUE(SetConnectTo(QStringLiteral("elsewhere:1:2, panoramas.example:80:") + QString::number(server.port())));
  FetchParams post;
  post.url = QStringLiteral("http://panoramas.example/mlk?output=xml");
  post.post_data = QStringLiteral("a=1");
  EXPECT_EQ(FetchBody(post), "POST|/mlk?output=xml|panoramas.example||vistara-|plain|a=1");
  ASSERT_TRUE(SetConnectTo(QString()));
  FetchParams follow;
  follow.url = QString::fromStdString(server.Url("/moved"));
  follow.follow_redirects = true;
  EXPECT_EQ(FetchBody(follow).substr(0, 7), "GET|/to");

  // Three requests spaced 0.25 s apart span 0.5 s between their starts; the server may see the
  // first one late, but not by half of that.
  FetchParams s;
  s.url = QString::fromStdString(server.Url("/spaced"));
  s.seconds_between_requests = 0.25;
  std::vector<Calls> spaced(3);
  for (Calls& c : spaced) Fetch(s, &c);
  for (Calls& c : spaced) c.Wait();
  std::lock_guard<std::mutex> lock(mutex);
  ASSERT_EQ(arrivals.size(), 3u);
  EXPECT_GE(arrivals.back() - arrivals.front(), std::chrono::milliseconds(250));
}

}  // namespace
}  // namespace vistara::net
