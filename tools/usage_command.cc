// vistara-spatial usage: replays the events of a street-level view through a PanoramaLogger on a
// clock the input sets, and prints every report the logger makes; with --server they go out too.
#include <QUrl>
#include <chrono>
#include <functional>
#include <memory>
#include <numbers>
#include <optional>
#include <sstream>
#include <thread>
#include <vector>

#include "cli.h"
#include "graph_source.h"
#include "platform/net/backend.h"
#include "platform/net/curl_backend.h"
#include "platform/net/scripted_backend.h"
#include "spatial/panorama_logger.h"

namespace vistara::cli {
namespace {

constexpr double kDegree = std::numbers::pi / 180;
constexpr double kDefaultWaitSeconds = 10;

struct UsageOptions {
  int port = 0;  // of --server; 0 when there is none
  bool flush = false;
  std::optional<double> timeout;  // seconds
};

// The time of the input line being replayed. It starts at 0, so that the logger, made before the
// first line, puts its last report 100 seconds before that.
class ReplayClock : public ITimingSource {
 public:
  double GetTime() const override { return now; }
  double now = 0;
};

// Tells of every report the logger starts, with the URL the network layer was given: what is
// printed is what goes out, random `s` and all.
class ReplayLogger : public spatial::PanoramaLogger {
 public:
  using OnReport = std::function<void(const QString& url, const RefPtr<net::Fetcher>& fetch)>;
  ReplayLogger(ITimingSource* clock, OnReport on_report) : PanoramaLogger(clock), on_report_(std::move(on_report)) {}

  void SendData() override {
    const RefPtr<net::Fetcher> before = fetcher();
    PanoramaLogger::SendData();
    if (fetcher().get() == before.get()) return;  // every count was 0
    // Both of the library's backends start a net::Request.
    const auto* request = dynamic_cast<const net::Request*>(fetcher().get());
    on_report_(request ? request->params().url : QString(), fetcher());
  }

 private:
  const OnReport on_report_;
};

// Sends the report host's connections to 127.0.0.1 and `port` for its lifetime, then puts back the
// remap the process started with (VISTARA_NET_CONNECT_TO), as the command may run inside a
// longer-lived process.
class ReportRemap {
 public:
  explicit ReportRemap(int port) {
    const QUrl base(QString::fromLatin1(spatial::PanoramaLogger::kReportUrl));
    net::SetConnectTo(QStringLiteral("%1:%2:%3").arg(base.host()).arg(base.port(80)).arg(port));
  }
  ~ReportRemap() { net::SetConnectTo(qEnvironmentVariable("VISTARA_NET_CONNECT_TO")); }
  ReportRemap(const ReportRemap&) = delete;
  ReportRemap& operator=(const ReportRemap&) = delete;
};

bool ParseFlag(const std::string& word, bool* flag, std::string* error) {
  if (word != "true" && word != "false" && word != "1" && word != "0") {
    *error = "flag: '" + word + "' is not true, false, 1 or 0";
    return false;
  }
  *flag = word == "true" || word == "1";
  return true;
}

// One event of the input, its angles in radians.
struct Event {
  double time = 0;  // seconds
  bool view = false;
  double yaw = 0, pitch = 0, fov = 0;
  bool flag = false;
};

// "TIME panorama FLAG" or "TIME view YAW PITCH FOV FLAG", times not going back from `last_time`.
bool ParseEvent(const std::string& line, double last_time, Event* event, std::string* error) {
  std::istringstream in(line);
  std::vector<std::string> w;
  for (std::string word; in >> word;) w.push_back(word);
  if (w.size() >= 2 && w[1] == "panorama" && w.size() != 3) {
    *error = "a panorama event is TIME panorama FLAG";
    return false;
  }
  if (w.size() >= 2 && w[1] == "view" && w.size() != 6) {
    *error = "a view event is TIME view YAW PITCH FOV FLAG";
    return false;
  }
  if (w.size() < 2 || (w[1] != "panorama" && w[1] != "view")) {
    *error = "an event is TIME panorama FLAG or TIME view YAW PITCH FOV FLAG";
    return false;
  }
  auto number = [&](const char* name, const std::string& word, const Range& range, double* value) {
    if (ParseNumber(word, range, value, error)) return true;
    *error = std::string(name) + ": " + *error;
    return false;
  };
  event->view = w[1] == "view";
  if (!number("time", w[0], {0}, &event->time)) return false;
  if (event->time < last_time) {
    *error = "time " + w[0] + " goes back from " + ShownNumber(last_time);
    return false;
  }
  if (event->view &&
      (!number("yaw", w[2], {}, &event->yaw) || !number("pitch", w[3], {-90, 90}, &event->pitch) ||
       !number("fov", w[4], {0, 360, true}, &event->fov))) {
    return false;
  }
  event->yaw *= kDegree;
  event->pitch *= kDegree;
  event->fov *= kDegree;
  return ParseFlag(w.back(), &event->flag, error);
}

// Waits until every report has ended or `seconds` have passed, then cancels those still open.
// False and the reason unless every one was answered with a 2xx status.
bool AwaitReports(const std::vector<RefPtr<net::Fetcher>>& reports, double seconds, std::string* error) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  auto open = [&reports] {
    size_t n = 0;
    for (const auto& r : reports) n += r->status() == net::kStatusInFlight;
    return n;
  };
  while (open() > 0 && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  const bool timed_out = open() > 0;
  for (const auto& r : reports) r->cancel();  // nothing for those that have ended
  FetchCounts counts;
  for (const auto& r : reports) {
    ++counts.started;
    ++counts.ended;
    if (r->status() == net::kStatusOk) ++counts.ok;
    else ++counts.failures[net::StatusName(r->status())];
  }
  if (counts.ok == counts.ended) return true;
  *error = Counted(reports.size(), "report", "reports") + " sent: " + FailureText(counts) +
           (timed_out ? "; timed out after " + ShownNumber(seconds) + " s" : "");
  return false;
}

int Run(Io& io, const UsageOptions& o) {
  // Without a server the reports wait in a scripted backend, which ends them unsent when it goes.
  std::optional<net::ScriptedBackend> unsent;
  std::optional<ReportRemap> remap;
  if (o.port == 0) unsent.emplace();
  else remap.emplace(o.port);

  ReplayClock clock;
  int line_number = 0;
  std::vector<RefPtr<net::Fetcher>> reports;
  auto print = [&](const QString& url, const RefPtr<net::Fetcher>& fetch) {
    Json::Value json;
    json["line"] = line_number > 0 ? Json::Value(line_number) : Json::Value();
    json["time"] = clock.now;
    json["url"] = url.toStdString();
    io.PrintLine(json, url.toStdString());
    reports.push_back(fetch);
  };
  ReplayLogger logger(&clock, print);
  std::string line, error;
  for (int number = 1; std::getline(io.in(), line); ++number) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    const size_t first = line.find_first_not_of(" \t");
    if (first == std::string::npos || line[first] == '#') continue;
    Event e;
    if (!ParseEvent(line, clock.now, &e, &error)) {
      io.InputError("line " + std::to_string(number), error);
      continue;
    }
    line_number = number;
    clock.now = e.time;
    if (e.view) logger.NewViewEvent(e.yaw, e.pitch, e.fov, e.flag);
    else logger.NewPanoramaEvent(e.flag);
  }
  line_number = 0;
  if (o.flush) logger.ForceSendData();
  std::string failure;
  if (remap && !AwaitReports(reports, o.timeout.value_or(kDefaultWaitSeconds), &failure)) return io.Fail(failure);
  return io.status();
}

void Declare(CLI::App* command) {
  auto o = std::make_shared<UsageOptions>();
  AddParsed(command, "--server", "URL",
            "send the reports to the panorama service at URL, on this machine: http://127.0.0.1:PORT/mlk",
            [o](const std::string& text, std::string* error) {
              const QUrl url(QString::fromStdString(text), QUrl::StrictMode);
              const bool here = url.host() == "127.0.0.1" || url.host() == "localhost";
              if (!url.isValid() || url.scheme() != "http" || !here || url.port() < 1 ||
                  (!url.path().isEmpty() && url.path() != "/mlk") || url.hasQuery()) {
                *error = "'" + text + "' is not http://127.0.0.1:PORT/mlk";
                return false;
              }
              o->port = url.port();
              return true;
            });
  command->add_flag("--flush", o->flush, "report what is left at the end of the input (ForceSendData)");
  AddDuration(command, "--timeout", &o->timeout, "with --server: how long to wait for the answers (default 10s)");
  SetRun(command, [o](Io& io) { return Run(io, *o); });
}

const Registrar kRegistrar(
    "usage", "replays street-level events through the usage logger and prints its reports",
    "Reads events from standard input, one per line, and feeds them to a PanoramaLogger as a\n"
    "host's street-level view does:\n"
    "  TIME panorama FLAG              the view entered a panorama\n"
    "  TIME view YAW PITCH FOV FLAG    the view turned or zoomed\n"
    "TIME is in seconds, from 0 and never going back: the logger's clock reads it. YAW, PITCH\n"
    "(-90 to 90) and FOV (above 0, at most 360) are degrees. FLAG is true, false, 1 or 0; the\n"
    "logger reports events flagged false under 67: and true under 68:. Blank lines and lines\n"
    "starting with # are skipped.\n\n"
    "Prints each report's URL as the logger makes it, one line per report: the first event at\n"
    "once, then whenever more than 20 events are pending or more than 30 seconds have passed since\n"
    "the last report (checked at each event). With --json, each is {\"line\", \"time\", \"url\"}, line\n"
    "null for the --flush at the end. The reports go to http://panoramas.vistara.example/mlk; with\n"
    "--server that host is sent to the given port on this machine (as vistara-spatial serve\n"
    "listens) and the command waits for every answer, failing if one is not a 2xx. Without it\n"
    "nothing is sent.",
    Declare);

}  // namespace
}  // namespace vistara::cli
