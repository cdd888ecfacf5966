// The layer every subcommand of vistara-spatial is written on: registration, typed options, one
// error vocabulary, and output as text, JSON or JSON Lines. CLI11 parses the words; this layer
// gives them our types and our messages, and renders help, docs/cli.md and the bash completion
// from the same tree.
//
// A subcommand is one file that registers itself. Its declare function gets the subcommand's
// CLI::App, adds arguments and options with the typed helpers below (so that every message reads
// alike) and sets what runs. A subcommand with operations ("utm to", "utm from") adds each with
// AddOperation and sets a run function on each. A sketch:
//
//   struct Options {
//     std::vector<std::string> files;
//     std::string links;
//     std::optional<LatLon> near;
//     int depth = 2;
//   };
//   int Run(Io& io, const Options& o) {
//     std::string bytes, error;
//     if (!io.Read(o.files[0], &bytes, &error)) return io.Fail(error);  // "cannot read 'x'"
//     ...
//     io.Print(json, text);  // text, or with --json one indented document
//     return 0;
//   }
//   void Declare(CLI::App* command) {
//     auto o = std::make_shared<Options>();
//     AddFiles(command, "FILE", &o->files, "metadata replies; - or none: standard input");
//     command->add_option("--links", o->links, "the panoramas linked to ID")->type_name("ID");
//     AddLatLon(command, "--near", &o->near, "the panorama nearest to this point");
//     AddInt(command, "--depth", &o->depth, {0, 1000}, "links to follow (default 2)");
//     SetRun(command, [o](Io& io) { return Run(io, *o); });
//   }
//   const Registrar kRegistrar("near", "the nearest panorama", "Longer text for --help.", Declare);
//
// The rules the helpers keep for every subcommand:
// - A failure is one line "vistara-spatial: COMMAND: reason" on stderr and exit status 1, COMMAND
//   being the top-level subcommand; with --json, {"error":"reason"} goes to stdout as well.
// - Input given as arguments gives one result: text, or with --json one indented JSON document.
//   A list of inputs (several words, or standard input line by line) gives one line per input,
//   with --json one compact JSON object per line (JSON Lines). A bad input prints
//   "error: line N: reason" (or {"error":"line N: reason"}) in its place, is reported on stderr as
//   "vistara-spatial: COMMAND: line N: reason", and the run goes on to exit 1 at the end.
// - A run that prints no result (it writes files) is set with Output::kNone; --json is refused
//   there with a reason.
// - A file named "-" is standard input or standard output.
// - JSON never holds NaN or an infinity: JsonNumber gives null for them.
// - Global options (--json, --verbose, --help, --version) go before or after the subcommand.
#ifndef VISTARA_TOOLS_CLI_H_
#define VISTARA_TOOLS_CLI_H_

#include <json/json.h>

#include <CLI/CLI.hpp>
#include <cstddef>
#include <functional>
#include <iosfwd>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "platform/date_time.h"

namespace vistara::cli {

// ---- words to values ---------------------------------------------------------------------------
// Each reads the whole text. On failure *value is left alone and *error says why, quoting the
// text ("'x' is not a number", "1001 is not in 0..1000").

// The values a number may take: from `low` to `high`, or above `low` when `above_low`.
struct Range {
  double low = -std::numeric_limits<double>::infinity();
  double high = std::numeric_limits<double>::infinity();
  bool above_low = false;

  bool Contains(double v) const { return (above_low ? v > low : v >= low) && v <= high; }
  // "0..1000", "at least 0", "above 0", "above 0, at most 1".
  std::string Text() const;
};

// A whole number in `range` (which must lie within int).
bool ParseInt(const std::string& text, const Range& range, int* value, std::string* error);
// A finite number in `range`.
bool ParseNumber(const std::string& text, const Range& range, double* value, std::string* error);

struct LatLon {
  double lat = 0, lon = 0;  // degrees
};
// "LAT,LON" or "LAT LON" (blanks and at most one comma between), latitude within -90..90 and
// longitude within -180..180.
bool ParseLatLon(const std::string& text, LatLon* value, std::string* error);
// An ISO 8601 date in UTC: 2026-11-22, 2026-11-22T18:30Z, 2026-11-22T18:30:00Z or with a fraction
// of a second; the Z may be left out.
bool ParseDate(const std::string& text, DateTime* value, std::string* error);
// A duration above 0 in days (d), hours (h), minutes (m) or seconds (s): "10d", "1.5h". In
// seconds.
bool ParseDuration(const std::string& text, double* seconds, std::string* error);

// ---- typed arguments and options ---------------------------------------------------------------
// `name` is "--name" for an option or "NAME" for a positional argument. A bad value fails the
// parse with "NAME: reason". The destination is written only when the option is given, so it may
// hold the default; std::optional destinations tell whether it was.

// The one hook the typed helpers share: `store` reads the text and stores the value, or returns
// false and the reason.
CLI::Option* AddParsed(CLI::App* app, const std::string& name, const std::string& value_name,
                       const std::string& help, std::function<bool(const std::string&, std::string*)> store);

template <class Dest>  // int or std::optional<int>
CLI::Option* AddInt(CLI::App* app, const std::string& name, Dest* value, const Range& range, const std::string& help) {
  return AddParsed(app, name, "N", help, [value, range](const std::string& text, std::string* error) {
    int v = 0;
    if (!ParseInt(text, range, &v, error)) return false;
    *value = v;
    return true;
  });
}
template <class Dest>  // double or std::optional<double>
CLI::Option* AddNumber(CLI::App* app, const std::string& name, Dest* value, const Range& range,
                       const std::string& help) {
  return AddParsed(app, name, "X", help, [value, range](const std::string& text, std::string* error) {
    double v = 0;
    if (!ParseNumber(text, range, &v, error)) return false;
    *value = v;
    return true;
  });
}
CLI::Option* AddLatLon(CLI::App* app, const std::string& name, std::optional<LatLon>* value, const std::string& help);
CLI::Option* AddDate(CLI::App* app, const std::string& name, std::optional<DateTime>* value, const std::string& help);
CLI::Option* AddDuration(CLI::App* app, const std::string& name, std::optional<double>* seconds,
                         const std::string& help);
// A file, "-" for standard input or output; completion offers file names.
CLI::Option* AddFile(CLI::App* app, const std::string& name, std::string* path, const std::string& help);
CLI::Option* AddFiles(CLI::App* app, const std::string& name, std::vector<std::string>* paths, const std::string& help);
// Words taken as they are (texts, ids) and flags need no helper: CLI11's add_option and add_flag,
// with a type_name for the help ("ID").

// ---- running -----------------------------------------------------------------------------------

class Io;
using RunFunction = std::function<int(Io& io)>;  // returns the exit status
enum class Output {
  kResult,  // prints a result, as text or with --json as JSON
  kNone,    // prints no result (it writes files): --json is refused
};

// Declares a subcommand: adds its options and operations and sets what runs.
using DeclareFunction = void (*)(CLI::App* command);
// Registers a subcommand, from a static object in the subcommand's own file. `summary` is one
// line for the list of commands; `details` (lines of at most 100 characters, paragraphs between
// blank lines) follows the usage in its help.
struct Registrar {
  Registrar(const char* name, const char* summary, const char* details, DeclareFunction declare);
};
// Adds an operation ("utm to") to a subcommand; one operation must then be given.
CLI::App* AddOperation(CLI::App* command, const std::string& name, const std::string& summary,
                       const std::string& details);
// What runs when `app`, a subcommand without operations or an operation, is the one given.
void SetRun(CLI::App* app, RunFunction run, Output output = Output::kResult);

// The whole command line: every registered subcommand, under the global options. Arguments are
// the words after the program name. Returns the exit status.
int Main(const std::vector<std::string>& args, std::istream& in, std::ostream& out, std::ostream& err);

// What a run function prints through, and how it fails.
class Io {
 public:
  Io(std::string command, bool json, std::istream& in, std::ostream& out, std::ostream& err);

  bool json() const { return json_; }
  std::istream& in() { return in_; }
  std::ostream& out() { return out_; }
  std::ostream& err() { return err_; }

  // One result: `text` as it is (lines and their breaks), or with --json `json` as one indented
  // document.
  void Print(const Json::Value& json, const std::string& text);
  // One line of a run over many inputs: `text` and a line break, or with --json `json` on one line.
  void PrintLine(const Json::Value& json, const std::string& text);
  // Reports the run's failure (see the top of this file) and returns the exit status, 1.
  int Fail(const std::string& reason);
  // Reports one bad input of a run over many in its place; `where` is "line N" or a file name. The
  // run's status becomes 1.
  void InputError(const std::string& where, const std::string& reason);
  // "vistara-spatial: COMMAND: warning: reason" on stderr; the run goes on.
  void Warn(const std::string& reason);
  // 0, or 1 once an input was bad.
  int status() const { return status_; }

  // A whole file, "-" being standard input, which can be read only once. False and "cannot read
  // 'x'" on failure.
  bool Read(const std::string& path, std::string* bytes, std::string* error);
  // Writes (replaces) a file, "-" being standard output. False and "cannot write 'x'" on failure.
  bool Write(const std::string& path, const std::string& bytes, std::string* error);

 private:
  std::string command_;
  bool json_;
  std::istream& in_;
  std::ostream& out_;
  std::ostream& err_;
  int status_ = 0;
  bool stdin_read_ = false;
};

// How messages name a file: "stdin" for "-".
inline std::string DisplayName(const std::string& path) { return path == "-" ? "stdin" : path; }

// What a run over many inputs makes of one: its JSON and its line of text, or false and the reason.
using InputHandler =
    std::function<bool(const std::string& input, Json::Value* json, std::string* text, std::string* error)>;
// Runs `handle` on each of `words`, or when there are none on each non-blank line of standard
// input (a CR before the line break dropped), printing one line per input. Inputs count from 1,
// blank lines included: the "line N" of an error. Returns the exit status.
int ForEachInput(Io& io, const std::vector<std::string>& words, const InputHandler& handle);

// A progress line on stderr for long runs ("--progress"), redrawn in place. It shows only when
// asked for and stderr is a terminal, so that pipes and logs never see it; the line is cleared
// when the object goes.
class Progress {
 public:
  Progress(std::ostream& err, bool requested);
  ~Progress();
  void Update(const std::string& text);

 private:
  std::ostream& err_;
  bool shown_;
  size_t width_ = 0;
};

// A number in text output: up to 15 significant digits, no trailing zeros ("37.8076", "1e-05").
std::string ShownNumber(double v);
// "1 panorama", "12 panoramas": the count and the noun that agrees with it.
std::string Counted(size_t n, const std::string& one, const std::string& many);

// A number for JSON: null instead of NaN or an infinity.
Json::Value JsonNumber(double value);
// JSON as one indented document (two spaces, 16 significant digits), without a final line break.
std::string JsonText(const Json::Value& value);

// "vistara-spatial utm to".
std::string CommandPath(const CLI::App& app);
// The help of a subcommand, an operation or (for the root) the whole command, and the reference
// of every subcommand as Markdown (docs/cli.md) and as a bash completion script.
std::string HelpText(const CLI::App& app);
std::string Markdown(const CLI::App& root);
std::string BashCompletion(const CLI::App& root);

}  // namespace vistara::cli

#endif  // VISTARA_TOOLS_CLI_H_
