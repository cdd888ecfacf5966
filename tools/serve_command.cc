// vistara-spatial serve: the panorama service over the streets of an OpenStreetMap extract, on
// 127.0.0.1, until interrupted or until a duration or a number of requests is reached.
#include <signal.h>

#include <atomic>
#include <chrono>
#include <ctime>
#include <memory>
#include <mutex>
#include <optional>
#include <ostream>

#include "cli.h"
#include "osm_streets.h"
#include "panorama_service.h"
#include "street_panoramas.h"

namespace vistara::cli {
namespace {

struct Options {
  std::string streets;
  serve::PanoramaServiceOptions service;
  serve::StreetPanoramasOptions panoramas;
  std::optional<double> seconds;  // --for
  std::optional<int> requests;    // --requests
  bool log = false;
};

// SIGINT and SIGTERM blocked on this thread, and so on the service's threads started while they
// are, to be taken by sigtimedwait; the mask is restored when the object goes, so that a run from
// a test leaves its process as it was.
class StopSignals {
 public:
  StopSignals() {
    sigemptyset(&set_);
    sigaddset(&set_, SIGINT);
    sigaddset(&set_, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &set_, &saved_);
  }
  ~StopSignals() { pthread_sigmask(SIG_SETMASK, &saved_, nullptr); }
  // True if one of them arrived within `ms`.
  bool Wait(int ms) {
    const timespec timeout{ms / 1000, (ms % 1000) * 1000000L};
    return sigtimedwait(&set_, nullptr, &timeout) > 0;
  }

 private:
  sigset_t set_, saved_;
};

int Run(Io& io, const Options& o) {
  std::vector<serve::Street> streets;
  std::string error;
  if (!serve::ReadStreets(o.streets, &streets, &error)) return io.Fail(error);
  const size_t street_count = streets.size();
  std::shared_ptr<const serve::StreetPanoramas> panoramas =
      serve::StreetPanoramas::Build(std::move(streets), o.panoramas, &error);
  if (!panoramas) return io.Fail(error);

  std::atomic<long> answered{0};
  std::mutex err_mutex;  // log lines come from the service's threads
  auto on_request = [&](const serve::RequestLogEntry& entry) {
    if (o.log) {
      const std::lock_guard<std::mutex> hold(err_mutex);
      io.err() << serve::FormatRequestLogEntry(entry) << std::endl;
    }
    ++answered;
  };
  StopSignals stop_signals;
  serve::PanoramaService service(panoramas, o.service, on_request);
  if (!service.Start(&error)) return io.Fail(error);

  Json::Value started;
  started["event"] = "listening";
  started["url"] = service.url();
  started["port"] = service.port();
  started["panoramas"] = Json::UInt64(panoramas->size());
  started["streets"] = Json::UInt64(street_count);
  io.PrintLine(started, "listening at " + service.url() + ": " + Counted(panoramas->size(), "panorama", "panoramas") +
                            " along " + Counted(street_count, "street", "streets") + " of " + o.streets);
  io.out().flush();  // a script reads the address before the service stops

  const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(o.seconds.value_or(0));
  const char* reason = "interrupted";
  while (!stop_signals.Wait(100)) {
    if (o.requests && answered >= *o.requests) {
      reason = "request count reached";
      break;
    }
    if (o.seconds && std::chrono::steady_clock::now() >= deadline) {
      reason = "time is up";
      break;
    }
  }
  service.Stop();

  Json::Value stopped;
  stopped["event"] = "stopped";
  stopped["reason"] = reason;
  stopped["requests"] = Json::Int64(answered.load());
  io.PrintLine(stopped, std::string("stopped (") + reason + ") after " +
                            Counted(static_cast<size_t>(answered.load()), "request", "requests"));
  return 0;
}

void Declare(CLI::App* command) {
  auto o = std::make_shared<Options>();
  command->add_option("--streets", o->streets, "the extract: .osm, .osm.bz2, .osm.gz or .osm.pbf")
      ->type_name("FILE")
      ->required();
  AddInt(command, "--port", &o->service.port, {0, 65535}, "the port on 127.0.0.1 (default 0: a free one)");
  AddNumber(command, "--spacing", &o->panoramas.spacing, {1, 1000}, "metres between panoramas (default 10)");
  AddDuration(command, "--for", &o->seconds, "stop after this long (default: when interrupted)");
  AddInt(command, "--requests", &o->requests, {1, 1000000000}, "stop after answering N requests");
  AddInt(command, "--threads", &o->service.threads, {1, 256}, "connections served at once (default 8)");
  AddInt(command, "--delay-ms", &o->service.delay_ms, {0, 60000}, "wait this long before every answer");
  AddInt(command, "--fail-every", &o->service.fail_every, {0, 1000000000},
         "answer every N-th request with --fail-status and no XML");
  AddInt(command, "--fail-status", &o->service.fail_status, {400, 599}, "the status of those (default 503)");
  AddInt(command, "--cut-every", &o->service.cut_every, {0, 1000000000},
         "send half the body of every N-th request, then close");
  AddInt(command, "--garbage-every", &o->service.garbage_every, {0, 1000000000},
         "send half the body of every N-th request, then bytes that are no XML");
  command->add_flag("--log", o->log, "print a line per request on standard error");
  SetRun(command, [o](Io& io) { return Run(io, *o); });
}

const Registrar kRegistrar(
    "serve", "the panorama service over the streets of an OpenStreetMap extract",
    "Places a panorama every --spacing metres along every highway way of the extract, linked along\n"
    "the ways and across their shared nodes, and answers the library's metadata requests for them\n"
    "on 127.0.0.1 (by id, by tile, by position, with depth and pano maps): see\n"
    "docs/panorama-service.md. Prints one line when listening, with the address, and one when it\n"
    "stops: on SIGINT or SIGTERM, after --for, or after --requests answers. With --json, both are\n"
    "JSON objects, one per line. The faults (--fail-every, --cut-every, --garbage-every) count the\n"
    "requests in order of arrival; a request takes the first fault that applies.",
    Declare);

}  // namespace
}  // namespace vistara::cli
