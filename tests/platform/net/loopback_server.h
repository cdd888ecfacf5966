// An HTTP server on 127.0.0.1 for the network tests, over cpp-httplib: a free port, stopped and
// joined when destroyed; every wait in it is bounded.
#ifndef VISTARA_TESTS_PLATFORM_NET_LOOPBACK_SERVER_H_
#define VISTARA_TESTS_PLATFORM_NET_LOOPBACK_SERVER_H_

#include <httplib.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace vistara::testing {

class LoopbackServer {
 public:
  LoopbackServer() {
    server_.set_keep_alive_timeout(1);  // so that stop() doesn't wait long for idle connections
    port_ = server_.bind_to_any_port("127.0.0.1");  // listening from here on
    thread_ = std::thread([this] { server_.listen_after_bind(); });
    // stop() does nothing to a server that hasn't begun to accept, which would then never end.
    for (int i = 0; i < 1000 && !server_.is_running(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  ~LoopbackServer() {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      ending_ = true;
    }
    wake_.notify_all();
    server_.stop();
    thread_.join();
  }

  httplib::Server& server() { return server_; }
  int port() const { return port_; }
  std::string Url(const std::string& path) const { return "http://127.0.0.1:" + std::to_string(port_) + path; }
  // A URL on which nothing listens.
  static std::string RefusedUrl() { return LoopbackServer().Url("/gone"); }

  // For handlers: waits `ms`, or less if the server is ending.
  void Stall(int ms) {
    std::unique_lock<std::mutex> lock(mutex_);
    wake_.wait_for(lock, std::chrono::milliseconds(ms), [this] { return ending_; });
  }

  // Serves every GET with the fault named by its "panoid" item or else by its path ("/404"):
  // "ok" (`body`), "empty", a status code ("404", ...), "big" (5000 bytes), "big-header"
  // (200 KB), "garbage" (XML cut short), "cut" (half of `body`, then the connection closes), "trickle" (`body` 7 bytes at
  // a time, 5 ms apart), "stall" (10 s), "late" (`body` after 300 ms).
  void ServeFaults(const std::string& body) {
    server_.Get(".*", [this, body](const httplib::Request& req, httplib::Response& res) {
      const std::string fault = req.has_param("panoid") ? req.get_param_value("panoid") : req.path.substr(1);
      if (std::isdigit(static_cast<unsigned char>(fault[0]))) res.status = std::stoi(fault);
      if (fault == "big") return res.set_content(std::string(5000, 'x'), "text/plain");
      if (fault == "big-header") res.set_header("X-Big", std::string(200000, 'h'));
      if (fault == "garbage") return res.set_content("<panorama><data_prop", "text/xml");
      if (fault == "cut") {
        return res.set_content_provider(body.size(), "text/xml", [body](size_t, size_t, httplib::DataSink& sink) {
          sink.write(body.data(), body.size() / 2);
          return false;  // closes the connection early
        });
      }
      if (fault == "trickle") {
        return res.set_chunked_content_provider("text/xml", [this, body](size_t at, httplib::DataSink& sink) {
          if (at >= body.size()) sink.done();
          Stall(5);
          return at >= body.size() || sink.write(body.data() + at, std::min<size_t>(7, body.size() - at));
        });
      }
      if (fault == "stall" || fault == "late") Stall(fault == "stall" ? 10000 : 300);
      res.set_content(fault == "empty" ? std::string() : body, "text/xml");
    });
  }

 private:
  httplib::Server server_;
  int port_ = -1;
  std::thread thread_;
  std::mutex mutex_;
  std::condition_variable wake_;
  bool ending_ = false;
};

}  // namespace vistara::testing

#endif  // VISTARA_TESTS_PLATFORM_NET_LOOPBACK_SERVER_H_
