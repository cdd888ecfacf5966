// The panorama service over HTTP: answers the library's metadata requests from a StreetPanoramas
// set, on 127.0.0.1 only, with faults on demand for tests of the network path.
//
// It answers GET /mlk with these queries, parameters in any order (docs/panorama-service.md):
//   output=xml&panoid=ID[&dm=1][&pm=1]                  one panorama, its maps if asked for
//   output=metatile&x=X&y=Y&zoom=Z                      every panorama of the tile, no maps
//   output=xml&ll=LAT,LON[&radius=M][&level_id=L][&dm=1][&pm=1]
//                                                       the panorama nearest the position
// `ml_client`, `v` and unknown parameters are ignored. An unknown id is 404; a tile or a circle
// (50 m when `radius` is absent) with nothing in it, or a level other than the street's own
// (empty), is an empty document; a query that is none of these is 400 with a one-line reason.
//
// PanoramaService owns an httplib server on its own thread. The dataset is shared and read-only;
// Start, Stop and the destructor belong to one thread, the other members may be called from any.
#ifndef VISTARA_TOOLS_PANORAMA_SERVICE_H_
#define VISTARA_TOOLS_PANORAMA_SERVICE_H_

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "street_panoramas.h"

namespace httplib {
class Server;
struct Request;
struct Response;
}  // namespace httplib

namespace vistara::cli::serve {

// A query as the service understands it.
struct PanoramaRequest {
  enum class Form { kId, kTile, kPosition };
  Form form = Form::kId;
  std::string panoid;          // kId
  int x = 0, y = 0, zoom = 0;  // kTile; x and y within the grid of the zoom (0 to 30)
  double lat = 0, lon = 0;     // kPosition, degrees
  double radius = 50;          // kPosition, metres
  std::string level_id;        // kPosition, empty for the street level
  bool depth_map = false;      // "dm=1"
  bool pano_map = false;       // "pm=1"
};

// Reads a query string (what follows '?', percent-escapes allowed). False with a one-line
// reason for one the service doesn't answer: no `output` or an unknown one, a missing or
// malformed parameter, a number out of range, a parameter given twice, more than 32 parameters,
// a name above 32 or a value above 256 bytes. Any bytes are safe input.
bool ParsePanoramaQuery(std::string_view query, PanoramaRequest* request, std::string* error);

struct PanoramaReply {
  int status = 200;  // 200, 400 or 404
  std::string body;  // XML for 200, a one-line reason otherwise
};

// The service's answer to a query string, as described at the top.
PanoramaReply AnswerPanoramaQuery(const StreetPanoramas& panoramas, std::string_view query);

struct PanoramaServiceOptions {
  int port = 0;                 // 0: a free port, chosen by the system
  int threads = 8;              // connections served at once, 1 to 256
  // For each read of a request; an idle connection waits as long, in whole seconds (at least 1).
  int read_timeout_ms = 5000;
  // Faults, counted on the requests to /mlk in order of arrival (1, 2, ...): every
  // `fail_every`-th is answered `fail_status` (400 to 599) without XML; else every `cut_every`-th
  // declares its whole body but sends half and closes the connection; else every
  // `garbage_every`-th sends half its body and then bytes that make it no XML. 0 turns one off.
  int delay_ms = 0;             // added before every answer, 0 to 60000
  int fail_every = 0;
  int fail_status = 503;
  int cut_every = 0;
  int garbage_every = 0;
  size_t log_limit = 100000;    // the log keeps the latest requests up to this many
};

struct RequestLogEntry {
  uint64_t number = 0;  // 1, 2, ... in order of arrival
  std::string target;   // path and query as sent, cut to 512 bytes
  int status = 0;
  size_t bytes = 0;       // the body's size as declared
  std::string fault;      // "", "fail", "cut" or "garbage"
  double milliseconds = 0;  // from arrival to the answer, delay included
};

// "17 200 4312 B 0.08 ms /mlk?output=xml&panoid=... (cut)": one line of the request log, bytes of
// the target other than printable ASCII shown as '?'.
std::string FormatRequestLogEntry(const RequestLogEntry& entry);

class PanoramaService {
 public:
  // `on_request`, if set, is called with each log entry on the thread that answered it, after the
  // answer is made; it must be thread-safe.
  PanoramaService(std::shared_ptr<const StreetPanoramas> panoramas, const PanoramaServiceOptions& options,
                  std::function<void(const RequestLogEntry&)> on_request = nullptr);
  ~PanoramaService();  // Stop()
  PanoramaService(const PanoramaService&) = delete;
  PanoramaService& operator=(const PanoramaService&) = delete;

  // Binds 127.0.0.1 at the port and starts answering. False with a one-line reason if an option
  // is out of range, the port can't be had, or the service was started before.
  bool Start(std::string* error);
  // Stops listening and waits for the connections being served. Does nothing if not started.
  void Stop();

  int port() const { return port_; }  // once started
  // "http://127.0.0.1:PORT/mlk", the base URL of the library's metadata requests.
  std::string url() const;
  // The latest requests, oldest first.
  std::vector<RequestLogEntry> request_log() const;

 private:
  class BoundedPool;
  // Answers one request to /mlk, faults included, and logs it.
  void Handle(const httplib::Request& request, httplib::Response& response);
  void Log(RequestLogEntry entry);

  const std::shared_ptr<const StreetPanoramas> panoramas_;
  const PanoramaServiceOptions options_;
  const std::function<void(const RequestLogEntry&)> on_request_;
  std::unique_ptr<httplib::Server> server_;
  std::thread thread_;  // runs httplib's listening loop
  std::atomic<bool> listener_done_{false};
  int port_ = 0;
  std::atomic<uint64_t> requests_{0};
  mutable std::mutex log_mutex_;
  std::deque<RequestLogEntry> log_;  // guarded by log_mutex_
};

}  // namespace vistara::cli::serve

#endif  // VISTARA_TOOLS_PANORAMA_SERVICE_H_
