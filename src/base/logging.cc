#include "base/logging.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>

namespace vistara::base {

namespace {

class StderrSink : public LogSink {
 public:
  void Send(const LogReport& report) override {
    const char* level = report.severity >= kLogFatal ? "fatal" : "error";
    std::fprintf(stderr, "vistara-spatial: %s: %s\n", level, report.text.c_str());
  }
};

struct SinkState {
  std::mutex mutex;
  LogSink* sink = nullptr;
  SinkState() {
    const char* env = std::getenv("VISTARA_SPATIAL_LOG");
    if (env && std::strcmp(env, "stderr") == 0) sink = StderrLogSink();
  }
};

SinkState& State() {
  static SinkState* state = new SinkState;  // never destroyed: reports may come during exit
  return *state;
}

// "…/src/base/logging.cc" -> "base/logging.cc": the path within the library's sources.
const char* SourcePath(const char* file) {
  if (!file) return "";
  const char* best = nullptr;
  for (const char* p = std::strstr(file, "src/"); p; p = std::strstr(p + 1, "src/")) best = p;
  return best ? best + 4 : file;
}

}  // namespace

LogSink* SetLogSink(LogSink* sink) {
  SinkState& s = State();
  std::lock_guard<std::mutex> lock(s.mutex);
  LogSink* old = s.sink;
  s.sink = sink;
  return old;
}

LogSink* StderrLogSink() {
  static LogSink* sink = new StderrSink;
  return sink;
}

LogMessage::LogMessage(const char* file, int line, LogSeverity severity)
    : file_(file), line_(line), severity_(severity) {}

LogMessage::LogMessage(const char* file, int line, LogSeverity severity, std::vector<std::string>* /*outvec*/)
    : file_(file), line_(line), severity_(severity) {}

LogMessage::~LogMessage() {
  LogReport report{severity_, SourcePath(file_), line_, stream_.str()};
  SinkState& s = State();
  std::lock_guard<std::mutex> lock(s.mutex);
  if (s.sink) s.sink->Send(report);
}

}  // namespace vistara::base
