#include "panorama_service.h"

#include <httplib.h>

#include <charconv>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdio>
#include <map>

#include "panorama_xml_writer.h"

namespace vistara::cli::serve {
namespace {

constexpr size_t kMaxParameters = 32;
constexpr size_t kMaxNameSize = 32;
constexpr size_t kMaxValueSize = 256;
constexpr size_t kLoggedTargetSize = 512;
constexpr char kXmlType[] = "text/xml; charset=UTF-8";
constexpr char kTextType[] = "text/plain; charset=UTF-8";

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

bool PercentDecode(std::string_view text, std::string* out) {
  out->clear();
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      out->push_back(text[i]);
      continue;
    }
    if (text.size() - i < 3) return false;
    const int high = HexDigit(text[i + 1]), low = HexDigit(text[i + 2]);
    if (high < 0 || low < 0) return false;
    out->push_back(static_cast<char>(high * 16 + low));
    i += 2;
  }
  return true;
}

// Text from a request, fit for a one-line reason or a log line: bytes other than printable ASCII
// become '?'.
std::string Printable(std::string_view text) {
  std::string out(text);
  for (char& c : out) {
    if (c < 0x20 || c > 0x7E) c = '?';
  }
  return out;
}

// The whole of `text` as a decimal integer; as a finite number.
bool ReadInt(const std::string& text, long long* value) {
  const auto result = std::from_chars(text.data(), text.data() + text.size(), *value);
  return result.ec == std::errc() && result.ptr == text.data() + text.size();
}

bool ReadNumber(std::string_view text, double* value) {
  const auto result = std::from_chars(text.data(), text.data() + text.size(), *value);
  return result.ec == std::errc() && result.ptr == text.data() + text.size() && std::isfinite(*value);
}

bool ReadFlag(const std::map<std::string, std::string>& params, const char* name, bool* flag, std::string* error) {
  const auto found = params.find(name);
  if (found == params.end()) return true;
  if (found->second != "0" && found->second != "1") {
    *error = std::string(name) + " wants 0 or 1";
    return false;
  }
  *flag = found->second == "1";
  return true;
}

// A reply of one panorama, or an empty one when `index` is -1.
std::string PanoramaDocument(const StreetPanoramas& panoramas, int index, bool depth_map, bool pano_map) {
  std::string out(kXmlDeclaration);
  if (index < 0) return out.append("<panorama/>");
  AppendPanoramaElement(panoramas.body(index), depth_map ? panoramas.depth_map_text(index) : std::string_view(),
                        pano_map ? panoramas.pano_map_text(index) : std::string_view(), &out);
  return out;
}

std::string TileDocument(const StreetPanoramas& panoramas, const std::vector<uint32_t>& indices) {
  std::string out(kXmlDeclaration);
  if (indices.empty()) return out.append("<panoramas/>");
  size_t size = out.size() + 32;
  for (uint32_t i : indices) size += panoramas.body(i).size() + 32;
  out.reserve(size);
  out.append("<panoramas>");
  for (uint32_t i : indices) AppendPanoramaElement(panoramas.body(i), {}, {}, &out);
  return out.append("</panoramas>");
}

}  // namespace

bool ParsePanoramaQuery(std::string_view query, PanoramaRequest* request, std::string* error) {
  *request = PanoramaRequest();
  std::map<std::string, std::string> params;
  std::string name, value;
  while (!query.empty()) {
    const size_t amp = query.find('&');
    const std::string_view item = query.substr(0, amp);
    query = amp == std::string_view::npos ? std::string_view() : query.substr(amp + 1);
    if (item.empty()) continue;
    if (params.size() == kMaxParameters) {
      *error = "more than " + std::to_string(kMaxParameters) + " parameters";
      return false;
    }
    const size_t eq = item.find('=');
    if (!PercentDecode(item.substr(0, eq), &name) ||
        !PercentDecode(eq == std::string_view::npos ? std::string_view() : item.substr(eq + 1), &value)) {
      *error = "a bad percent escape";
      return false;
    }
    if (name.size() > kMaxNameSize) {
      *error = "a parameter name longer than " + std::to_string(kMaxNameSize) + " bytes";
      return false;
    }
    if (value.size() > kMaxValueSize) {
      *error = "the value of " + Printable(name) + " is longer than " + std::to_string(kMaxValueSize) + " bytes";
      return false;
    }
    if (!params.emplace(name, value).second) {
      *error = Printable(name) + " is given twice";
      return false;
    }
  }
  auto get = [&](const char* key) -> const std::string* {
    const auto found = params.find(key);
    return found == params.end() ? nullptr : &found->second;
  };

  const std::string* output = get("output");
  if (!output) {
    *error = "no output parameter";
    return false;
  }
  if (*output == "metatile") {
    request->form = PanoramaRequest::Form::kTile;
    long long x, y, zoom;
    const std::string *xs = get("x"), *ys = get("y"), *zs = get("zoom");
    if (!xs || !ys || !zs || !ReadInt(*xs, &x) || !ReadInt(*ys, &y) || !ReadInt(*zs, &zoom)) {
      *error = "a tile wants whole numbers x, y and zoom";
      return false;
    }
    if (zoom < 0 || zoom > 30) {
      *error = "zoom must be 0 to 30";
      return false;
    }
    const long long n = 1ll << zoom;
    if (x < 0 || x >= n || y < 0 || y >= n) {
      *error = "x and y must be 0 to " + std::to_string(n - 1) + " at zoom " + std::to_string(zoom);
      return false;
    }
    request->x = static_cast<int>(x);
    request->y = static_cast<int>(y);
    request->zoom = static_cast<int>(zoom);
    return true;
  }
  if (*output != "xml") {
    *error = "output=" + Printable(*output) + " is not answered here";
    return false;
  }
  if (!ReadFlag(params, "dm", &request->depth_map, error) || !ReadFlag(params, "pm", &request->pano_map, error)) {
    return false;
  }
  const std::string *panoid = get("panoid"), *ll = get("ll");
  if (panoid && ll) {
    *error = "panoid and ll both given";
    return false;
  }
  if (panoid) {
    request->form = PanoramaRequest::Form::kId;
    request->panoid = *panoid;
    return true;
  }
  if (!ll) {
    *error = "output=xml wants panoid or ll";
    return false;
  }
  request->form = PanoramaRequest::Form::kPosition;
  const size_t comma = ll->find(',');
  if (comma == std::string::npos || !ReadNumber(std::string_view(*ll).substr(0, comma), &request->lat) ||
      !ReadNumber(std::string_view(*ll).substr(comma + 1), &request->lon) || std::fabs(request->lat) > 90 ||
      std::fabs(request->lon) > 180) {
    *error = "ll wants LAT,LON in degrees";
    return false;
  }
  if (const std::string* radius = get("radius")) {
    if (!ReadNumber(*radius, &request->radius) || request->radius < 0) {
      *error = "radius wants metres, 0 or more";
      return false;
    }
  }
  if (const std::string* level = get("level_id")) request->level_id = *level;
  return true;
}

PanoramaReply AnswerPanoramaQuery(const StreetPanoramas& panoramas, std::string_view query) {
  PanoramaReply reply;
  PanoramaRequest request;
  if (!ParsePanoramaQuery(query, &request, &reply.body)) {
    reply.status = 400;
    return reply;
  }
  switch (request.form) {
    case PanoramaRequest::Form::kId: {
      const int index = panoramas.Find(request.panoid);
      if (index < 0) {
        reply.status = 404;
        reply.body = "unknown panorama id";
        return reply;
      }
      reply.body = PanoramaDocument(panoramas, index, request.depth_map, request.pano_map);
      return reply;
    }
    case PanoramaRequest::Form::kTile:
      reply.body = TileDocument(panoramas, panoramas.InTile(request.x, request.y, request.zoom));
      return reply;
    case PanoramaRequest::Form::kPosition: {
      // Every panorama stands on the street level, whose id is empty.
      const int index = request.level_id.empty() ? panoramas.Nearest(request.lat, request.lon, request.radius) : -1;
      reply.body = PanoramaDocument(panoramas, index, request.depth_map, request.pano_map);
      return reply;
    }
  }
  return reply;
}

std::string FormatRequestLogEntry(const RequestLogEntry& entry) {
  char head[96];
  std::snprintf(head, sizeof head, "%llu %d %zu B %.2f ms ", static_cast<unsigned long long>(entry.number),
                entry.status, entry.bytes, entry.milliseconds);
  std::string line = head + Printable(entry.target);
  if (!entry.fault.empty()) line += " (" + entry.fault + ")";
  return line;
}

// httplib's connection queue, bounded: while `threads` connections are served and as many again
// wait, the accepting thread waits too, and new connections stay in the kernel's backlog.
class PanoramaService::BoundedPool : public httplib::TaskQueue {
 public:
  explicit BoundedPool(size_t threads) : limit_(threads) {
    for (size_t i = 0; i < threads; ++i) workers_.emplace_back([this] { Work(); });
  }
  void enqueue(std::function<void()> job) override {
    std::unique_lock<std::mutex> lock(mutex_);
    room_.wait(lock, [&] { return jobs_.size() < limit_; });
    jobs_.push_back(std::move(job));
    ready_.notify_one();
  }
  void shutdown() override {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      shutting_down_ = true;
    }
    ready_.notify_all();
    for (std::thread& t : workers_) t.join();
  }

 private:
  void Work() {
    for (;;) {
      std::function<void()> job;
      {
        std::unique_lock<std::mutex> lock(mutex_);
        ready_.wait(lock, [&] { return !jobs_.empty() || shutting_down_; });
        if (jobs_.empty()) return;  // shutting down with nothing left
        job = std::move(jobs_.front());
        jobs_.pop_front();
        room_.notify_one();
      }
      job();
    }
  }

  const size_t limit_;
  std::vector<std::thread> workers_;
  std::mutex mutex_;
  std::condition_variable ready_, room_;
  std::deque<std::function<void()>> jobs_;  // guarded by mutex_
  bool shutting_down_ = false;              // guarded by mutex_
};

PanoramaService::PanoramaService(std::shared_ptr<const StreetPanoramas> panoramas,
                                 const PanoramaServiceOptions& options,
                                 std::function<void(const RequestLogEntry&)> on_request)
    : panoramas_(std::move(panoramas)), options_(options), on_request_(std::move(on_request)) {}

PanoramaService::~PanoramaService() { Stop(); }

bool PanoramaService::Start(std::string* error) {
  const PanoramaServiceOptions& o = options_;
  const char* problem = nullptr;
  if (server_) {
    problem = "the service is started already";
  } else if (o.port < 0 || o.port > 65535) {
    problem = "the port must be 0 to 65535";
  } else if (o.threads < 1 || o.threads > 256) {
    problem = "threads must be 1 to 256";
  } else if (o.read_timeout_ms < 1 || o.read_timeout_ms > 600000) {
    problem = "the read timeout must be 1 to 600000 ms";
  } else if (o.delay_ms < 0 || o.delay_ms > 60000) {
    problem = "the delay must be 0 to 60000 ms";
  } else if (o.fail_every < 0 || o.cut_every < 0 || o.garbage_every < 0) {
    problem = "fault periods must be 0 or more";
  } else if (o.fail_status < 400 || o.fail_status > 599) {
    problem = "the failure status must be 400 to 599";
  }
  if (problem) {
    *error = problem;
    return false;
  }
  server_ = std::make_unique<httplib::Server>();
  const size_t threads = static_cast<size_t>(o.threads);
  server_->new_task_queue = [threads] { return new BoundedPool(threads); };
  const auto timeout = std::chrono::milliseconds(o.read_timeout_ms);
  server_->set_read_timeout(timeout);
  server_->set_write_timeout(timeout);
  server_->set_keep_alive_timeout(std::max<time_t>(1, o.read_timeout_ms / 1000));
  server_->set_keep_alive_max_count(1000);
  server_->set_tcp_nodelay(true);  // small replies on reused connections go out at once
  // httplib's default adds SO_REUSEPORT, which would let a second service share a port in use.
  server_->set_socket_options([](socket_t socket) {
    const int yes = 1;
    setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
  });
  server_->set_payload_max_length(64 * 1024);
  server_->Get("/mlk", [this](const httplib::Request& request, httplib::Response& response) {
    Handle(request, response);
  });

  const int port = o.port == 0 ? server_->bind_to_any_port("127.0.0.1")
                               : (server_->bind_to_port("127.0.0.1", o.port) ? o.port : -1);
  if (port <= 0) {
    server_.reset();
    *error = "cannot listen on 127.0.0.1:" + std::to_string(o.port);
    return false;
  }
  port_ = port;
  listener_done_ = false;
  thread_ = std::thread([this] {
    server_->listen_after_bind();
    listener_done_ = true;
  });
  // httplib's stop() does nothing before the listening loop has begun: wait for it, so that Stop
  // can't miss it.
  while (!server_->is_running() && !listener_done_) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  return true;
}

void PanoramaService::Stop() {
  if (!server_) return;
  server_->stop();
  if (thread_.joinable()) thread_.join();
  server_.reset();
}

void PanoramaService::Handle(const httplib::Request& request, httplib::Response& response) {
  const auto start = std::chrono::steady_clock::now();
  RequestLogEntry entry;
  entry.number = ++requests_;
  entry.target = request.target.substr(0, kLoggedTargetSize);
  if (options_.delay_ms > 0) std::this_thread::sleep_for(std::chrono::milliseconds(options_.delay_ms));

  const auto every = [&](int period) { return period > 0 && entry.number % static_cast<uint64_t>(period) == 0; };
  std::string body;
  const char* type = kXmlType;
  if (every(options_.fail_every)) {
    entry.fault = "fail";
    entry.status = options_.fail_status;
    body = "injected failure";
    type = kTextType;
  } else {
    const size_t mark = request.target.find('?');
    const std::string_view query =
        mark == std::string::npos ? std::string_view() : std::string_view(request.target).substr(mark + 1);
    PanoramaReply reply = AnswerPanoramaQuery(*panoramas_, query);
    entry.status = reply.status;
    body = std::move(reply.body);
    if (entry.status != 200) type = kTextType;
    if (every(options_.cut_every)) {
      entry.fault = "cut";
    } else if (every(options_.garbage_every)) {
      entry.fault = "garbage";
      body.resize(body.size() / 2);
      body += "<<\x01 not XML &";
    }
  }
  response.status = entry.status;
  entry.bytes = body.size();
  if (entry.fault == "cut") {
    // The whole length is declared; half is sent, and the provider's false closes the connection.
    auto shared = std::make_shared<std::string>(std::move(body));
    response.set_content_provider(shared->size(), type, [shared](size_t offset, size_t, httplib::DataSink& sink) {
      const size_t half = shared->size() / 2;
      if (offset < half) sink.write(shared->data() + offset, half - offset);
      return false;
    });
  } else {
    response.set_content(std::move(body), type);
  }
  entry.milliseconds = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
  Log(std::move(entry));
}

std::string PanoramaService::url() const { return "http://127.0.0.1:" + std::to_string(port_) + "/mlk"; }

std::vector<RequestLogEntry> PanoramaService::request_log() const {
  std::lock_guard<std::mutex> lock(log_mutex_);
  return std::vector<RequestLogEntry>(log_.begin(), log_.end());
}

void PanoramaService::Log(RequestLogEntry entry) {
  if (on_request_) on_request_(entry);
  std::lock_guard<std::mutex> lock(log_mutex_);
  log_.push_back(std::move(entry));
  while (log_.size() > options_.log_limit) log_.pop_front();
}

}  // namespace vistara::cli::serve
