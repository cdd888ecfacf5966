// Reports and checks.
//
// A report is a LogMessage: it gathers text through stream() and, when it goes out of scope, hands
// the text to the process-wide sink. Nothing ever stops the program: a failed check is reported
// and the code behind it runs on with the values as they are.
//
// The sink is where reports go. By default they are dropped; with the environment variable
// VISTARA_SPATIAL_LOG=stderr at start-up they go to standard error. A host or a test installs its
// own with SetLogSink. The sink is called under a process-wide mutex, one report at a time, on the
// thread that made the report; it must not make reports of its own.
//
// Check forms (each a statement that may be followed by `<< more text`):
//   VS_CHECK(cond)          "Check failed: cond"
//   VS_CHECK_GT(a, b) etc.  "Check failed: a>b 0>0" (the source text of both sides joined by the
//                           operator, a blank, then the two values joined by it; 8-bit integers
//                           print as numbers, a plain char as its character)
// Severities: kLogError (2) for errors that are logged and survived, kLogFatal (3) for failed
// checks and messages that call themselves fatal. VS_LOG(ERROR) and VS_LOG(FATAL) make a report
// of that severity.
#ifndef VISTARA_BASE_LOGGING_H_
#define VISTARA_BASE_LOGGING_H_

#include <optional>
#include <sstream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace vistara::base {

using LogSeverity = int;
inline constexpr LogSeverity kLogError = 2;
inline constexpr LogSeverity kLogFatal = 3;
inline constexpr LogSeverity kLog_ERROR = kLogError;
inline constexpr LogSeverity kLog_FATAL = kLogFatal;

struct LogReport {
  LogSeverity severity;
  std::string file;  // the source path below src/, such as "base/stringprintf.cc"
  int line;
  std::string text;
};

class LogSink {
 public:
  virtual ~LogSink() = default;
  virtual void Send(const LogReport& report) = 0;
};

// Installs `sink` (not owned; null drops reports) and returns the one it replaces.
LogSink* SetLogSink(LogSink* sink);
// A sink that writes "vistara-spatial: <severity>: <text>" lines to stderr; never deleted.
LogSink* StderrLogSink();

class LogMessage {
 public:
  LogMessage(const char* file, int line, LogSeverity severity);
  // The host's form that names a vector of collected messages; the report goes to the sink as
  // above and `outvec` is left as it is.
  LogMessage(const char* file, int line, LogSeverity severity, std::vector<std::string>* outvec);
  ~LogMessage();
  LogMessage(const LogMessage&) = delete;
  LogMessage& operator=(const LogMessage&) = delete;

  std::ostream& stream() { return stream_; }

  // Hooks of the host's logging set-up; they do nothing here.
  static void Init(const char*, int) {}
  static void WriteLog(const char*, int) {}
  static void WriteLogToFGLog(const char*, int) {}
  static void InitLogFiles() {}

 private:
  const char* file_;
  int line_;
  LogSeverity severity_;
  std::ostringstream stream_;
};

// The host's printf-style log entry point; it does nothing here.
struct LogPrintf {
  void operator()(const char* /*format*/, ...) const {}
  void operator()(LogSeverity /*severity*/, const char* /*format*/, ...) const {}
};

namespace internal {

// Lets the check macros end in an expression of type void.
struct LogMessageVoidify {
  void operator&(std::ostream&) {}
};

// An operand as a report prints it: streamed as it is, except that the 8-bit integer types
// (uint8_t, int8_t) print as numbers rather than as raw bytes.
template <class T>
const T& Printable(const T& value) {
  return value;
}
inline int Printable(unsigned char value) { return value; }
inline int Printable(signed char value) { return value; }

template <class A, class B>
std::string MakeCheckOpText(const A& a, const B& b, const char* text, const char* op) {
  std::ostringstream s;
  s << "Check failed: " << text << ' ' << Printable(a) << op << Printable(b);
  return s.str();
}

// Integers of mixed signedness compare by value (so a size may be checked against an int
// constant); everything else compares with its own operators.
template <class T>
inline constexpr bool kIsPlainInteger =
    std::is_integral_v<T> && !std::is_same_v<T, bool> && !std::is_same_v<T, char> &&
    !std::is_same_v<T, wchar_t> && !std::is_same_v<T, char8_t> && !std::is_same_v<T, char16_t> &&
    !std::is_same_v<T, char32_t>;

#define VS_DEFINE_CHECK_OP_IMPL(name, op, cmp)                                                     \
  template <class A, class B>                                                                      \
  std::optional<std::string> Check##name##Impl(const A& a, const B& b, const char* text) {         \
    bool holds;                                                                                    \
    if constexpr (kIsPlainInteger<A> && kIsPlainInteger<B>) holds = std::cmp(a, b);                \
    else holds = a op b;                                                                           \
    if (holds) return std::nullopt;                                                                \
    return MakeCheckOpText(a, b, text, #op);                                                       \
  }
VS_DEFINE_CHECK_OP_IMPL(EQ, ==, cmp_equal)
VS_DEFINE_CHECK_OP_IMPL(NE, !=, cmp_not_equal)
VS_DEFINE_CHECK_OP_IMPL(LT, <, cmp_less)
VS_DEFINE_CHECK_OP_IMPL(LE, <=, cmp_less_equal)
VS_DEFINE_CHECK_OP_IMPL(GT, >, cmp_greater)
VS_DEFINE_CHECK_OP_IMPL(GE, >=, cmp_greater_equal)
#undef VS_DEFINE_CHECK_OP_IMPL

}  // namespace internal
}  // namespace vistara::base

#define VS_LOG(severity) \
  ::vistara::base::LogMessage(__FILE__, __LINE__, ::vistara::base::kLog_##severity).stream()

#define VS_CHECK(condition)                                                        \
  (condition) ? (void)0                                                            \
              : ::vistara::base::internal::LogMessageVoidify() &                   \
                    ::vistara::base::LogMessage(__FILE__, __LINE__, ::vistara::base::kLogFatal) \
                            .stream()                                              \
                        << "Check failed: " #condition

// `switch` keeps a following `else` from binding to the macro's `if`.
#define VS_CHECK_OP(name, op, a, b)                                                               \
  switch (0)                                                                                      \
  case 0:                                                                                         \
  default:                                                                                        \
    if (auto vs_check_text = ::vistara::base::internal::Check##name##Impl((a), (b), #a #op #b);  \
        !vs_check_text)                                                                           \
      ;                                                                                           \
    else                                                                                          \
      ::vistara::base::LogMessage(__FILE__, __LINE__, ::vistara::base::kLogFatal).stream()       \
          << *vs_check_text

#define VS_CHECK_EQ(a, b) VS_CHECK_OP(EQ, ==, a, b)
#define VS_CHECK_NE(a, b) VS_CHECK_OP(NE, !=, a, b)
#define VS_CHECK_LT(a, b) VS_CHECK_OP(LT, <, a, b)
#define VS_CHECK_LE(a, b) VS_CHECK_OP(LE, <=, a, b)
#define VS_CHECK_GT(a, b) VS_CHECK_OP(GT, >, a, b)
#define VS_CHECK_GE(a, b) VS_CHECK_OP(GE, >=, a, b)

#endif  // VISTARA_BASE_LOGGING_H_
