#include "cli.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <istream>
#include <ostream>
#include <map>
#include <memory>
#include <sstream>

#include "base/logging.h"
#include "spatial/spatial_api.h"

namespace vistara::cli {

// ---- words to values ---------------------------------------------------------------------------

namespace {

// The whole text as a finite number.
bool FiniteNumber(const std::string& text, double* value) {
  if (text.empty() || std::isspace(static_cast<unsigned char>(text[0]))) return false;
  char* end = nullptr;
  *value = std::strtod(text.c_str(), &end);
  return *end == '\0' && std::isfinite(*value);
}

int DaysInMonth(int year, int month) {
  static const int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  return month == 2 && leap ? 29 : kDays[month - 1];
}

// `count` decimal digits at `text[*at]`, as a number; advances `*at`. -1 if they aren't there.
int Digits(const std::string& text, size_t* at, int count) {
  int value = 0;
  for (int k = 0; k < count; ++k, ++*at) {
    if (*at >= text.size() || text[*at] < '0' || text[*at] > '9') return -1;
    value = value * 10 + (text[*at] - '0');
  }
  return value;
}

std::optional<DateTime> IsoDate(const std::string& text) {
  size_t at = 0;
  const int year = Digits(text, &at, 4);
  const int month = at < text.size() && text[at++] == '-' ? Digits(text, &at, 2) : -1;
  const int day = at < text.size() && text[at++] == '-' ? Digits(text, &at, 2) : -1;
  if (year < 0 || month < 1 || month > 12 || day < 1 || day > DaysInMonth(year, month)) return std::nullopt;
  int hour = 0, minute = 0;
  double second = 0.0;
  if (at < text.size() && (text[at] == 'T' || text[at] == ' ')) {
    ++at;
    hour = Digits(text, &at, 2);
    minute = at < text.size() && text[at++] == ':' ? Digits(text, &at, 2) : -1;
    if (hour < 0 || hour > 23 || minute < 0 || minute > 59) return std::nullopt;
    if (at < text.size() && text[at] == ':') {
      ++at;
      const int whole = Digits(text, &at, 2);
      if (whole < 0 || whole > 59) return std::nullopt;
      second = whole;
      if (at < text.size() && text[at] == '.') {
        double scale = 0.1;
        if (++at >= text.size() || text[at] < '0' || text[at] > '9') return std::nullopt;
        for (; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at, scale /= 10) {
          second += (text[at] - '0') * scale;
        }
      }
    }
    if (at < text.size() && text[at] == 'Z') ++at;
  }
  if (at != text.size()) return std::nullopt;
  return DateTime(year, month, day, hour, minute, second);
}

}  // namespace

std::string Range::Text() const {
  const bool has_low = std::isfinite(low), has_high = std::isfinite(high);
  if (has_low && has_high && !above_low) return "in " + ShownNumber(low) + ".." + ShownNumber(high);
  std::string text = has_low ? (above_low ? "above " : "at least ") + ShownNumber(low) : "";
  if (has_high) text += (has_low ? " and at most " : "at most ") + ShownNumber(high);
  return text.empty() ? "a number" : text;
}

bool ParseInt(const std::string& text, const Range& range, int* value, std::string* error) {
  char* end = nullptr;
  errno = 0;
  const long v = std::strtol(text.c_str(), &end, 10);
  if (text.empty() || std::isspace(static_cast<unsigned char>(text[0])) || *end != '\0') {
    *error = "'" + text + "' is not a whole number";
    return false;
  }
  if (errno == ERANGE || v < INT_MIN || v > INT_MAX || !range.Contains(static_cast<double>(v))) {
    *error = text + " is not " + range.Text();
    return false;
  }
  *value = static_cast<int>(v);
  return true;
}

bool ParseNumber(const std::string& text, const Range& range, double* value, std::string* error) {
  double v = 0;
  if (!FiniteNumber(text, &v)) {
    *error = "'" + text + "' is not a number";
    return false;
  }
  if (!range.Contains(v)) {
    *error = text + " is not " + range.Text();
    return false;
  }
  *value = v;
  return true;
}

bool ParseLatLon(const std::string& text, LatLon* value, std::string* error) {
  static const Range kLatitude{-90, 90}, kLongitude{-180, 180};
  std::string words = text;
  std::replace(words.begin(), words.end(), '\t', ' ');
  const size_t comma = words.find(',');
  if (comma != std::string::npos) words[comma] = ' ';
  std::istringstream in(words);
  std::string lat, lon, rest;
  LatLon v;
  if (!(in >> lat >> lon) || (in >> rest) || !FiniteNumber(lat, &v.lat) || !FiniteNumber(lon, &v.lon)) {
    *error = "'" + text + "' is not LAT,LON (degrees)";
    return false;
  }
  if (!kLatitude.Contains(v.lat) || !kLongitude.Contains(v.lon)) {
    *error = kLatitude.Contains(v.lat) ? "longitude " + lon + " is not " + kLongitude.Text()
                                       : "latitude " + lat + " is not " + kLatitude.Text();
    return false;
  }
  *value = v;
  return true;
}

bool ParseDate(const std::string& text, DateTime* value, std::string* error) {
  const std::optional<DateTime> date = IsoDate(text);
  if (!date) {
    *error = "'" + text + "' is not a date (ISO 8601 in UTC: 2026-11-22 or 2026-11-22T18:30:00Z)";
    return false;
  }
  *value = *date;
  return true;
}

bool ParseDuration(const std::string& text, double* seconds, std::string* error) {
  static const std::map<char, double> kUnits = {{'d', 86400.0}, {'h', 3600.0}, {'m', 60.0}, {'s', 1.0}};
  double number = 0;
  const auto unit = text.empty() ? kUnits.end() : kUnits.find(text.back());
  if (unit == kUnits.end() || !FiniteNumber(text.substr(0, text.size() - 1), &number) || !(number > 0) ||
      !std::isfinite(number * unit->second)) {
    *error = "'" + text + "' is not a duration (a number above 0 and d, h, m or s, as in 10d)";
    return false;
  }
  *seconds = number * unit->second;
  return true;
}

// ---- typed arguments and options ---------------------------------------------------------------

CLI::Option* AddParsed(CLI::App* app, const std::string& name, const std::string& value_name,
                       const std::string& help, std::function<bool(const std::string&, std::string*)> store) {
  auto check = [name, store](const std::string& text) {
    std::string error;
    if (!store(text, &error)) throw CLI::ValidationError(name, error);
  };
  return app->add_option_function<std::string>(name, check, help)->type_name(value_name);
}

CLI::Option* AddLatLon(CLI::App* app, const std::string& name, std::optional<LatLon>* value, const std::string& help) {
  return AddParsed(app, name, "LAT,LON", help, [value](const std::string& text, std::string* error) {
    LatLon v;
    if (!ParseLatLon(text, &v, error)) return false;
    *value = v;
    return true;
  });
}

CLI::Option* AddDate(CLI::App* app, const std::string& name, std::optional<DateTime>* value, const std::string& help) {
  return AddParsed(app, name, "DATE", help, [value](const std::string& text, std::string* error) {
    DateTime v;
    if (!ParseDate(text, &v, error)) return false;
    *value = v;
    return true;
  });
}

CLI::Option* AddDuration(CLI::App* app, const std::string& name, std::optional<double>* seconds,
                         const std::string& help) {
  return AddParsed(app, name, "DURATION", help, [seconds](const std::string& text, std::string* error) {
    double v = 0;
    if (!ParseDuration(text, &v, error)) return false;
    *seconds = v;
    return true;
  });
}

CLI::Option* AddFile(CLI::App* app, const std::string& name, std::string* path, const std::string& help) {
  return app->add_option(name, *path, help)->type_name("FILE");
}

CLI::Option* AddFiles(CLI::App* app, const std::string& name, std::vector<std::string>* paths,
                      const std::string& help) {
  return app->add_option(name, *paths, help)->type_name("FILE");
}

// ---- the command tree --------------------------------------------------------------------------

namespace {

struct Registration {
  const char* name;
  const char* summary;
  const char* details;
  DeclareFunction declare;
};

std::vector<Registration>& Registry() {
  static std::vector<Registration> registry;
  return registry;
}

struct Action {
  RunFunction run;
  Output output;
};

// The run functions of the tree Main builds; one tree is built per run of the program.
std::map<const CLI::App*, Action>& Actions() {
  static std::map<const CLI::App*, Action> actions;
  return actions;
}

const char kSummary[] = "runs the services of the vistara-spatial library from the command line";
const char kDetails[] =
    "Each command prints text, or JSON with --json. A command given its input as arguments prints\n"
    "one result (with --json one indented JSON document); given a list of inputs, or reading\n"
    "standard input line by line, it prints one line per input (with --json one compact JSON object\n"
    "per line, JSON Lines). A bad input then prints \"error: line N: reason\" in its place, the\n"
    "others go on, and the exit status is 1. A file named - is standard input or output.\n\n"
    "Any other failure prints one line \"vistara-spatial: COMMAND: reason\" on standard error (with\n"
    "--json also {\"error\":\"reason\"} on standard output) and exits with status 1. JSON writes null\n"
    "for numbers that are not finite.\n";

std::unique_ptr<CLI::App> MakeApp() {
  Actions().clear();
  auto root = std::make_unique<CLI::App>(kSummary, "vistara-spatial");
  root->footer(kDetails);
  // Set before any subcommand is added, which copies them.
  root->set_help_flag("-h,--help", "print this help and exit");
  root->option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);  // the last one given wins
  root->fallthrough();
  // Exactly one command; it also keeps a word after the command from being read as a second one.
  root->require_subcommand(1);
  root->add_flag("--json")->description("print JSON instead of text");
  root->add_flag("--verbose")->description("print the library's reports on standard error");
  root->set_version_flag("--version", std::string("vistara-spatial ") + SpatialVersion(),
                         "print the version and exit");
  std::vector<Registration> commands = Registry();
  std::sort(commands.begin(), commands.end(),
            [](const Registration& a, const Registration& b) { return std::string(a.name) < b.name; });
  for (const Registration& r : commands) {
    CLI::App* command = root->add_subcommand(r.name, r.summary);
    command->footer(r.details);
    r.declare(command);
  }
  return root;
}

// The subcommand or operation the words chose (the root when none).
const CLI::App* Selected(const CLI::App& root) {
  const CLI::App* at = &root;
  while (!at->get_subcommands().empty()) at = at->get_subcommands().front();
  return at;
}

// The top-level subcommand `app` is or is under; empty for the root.
std::string CommandName(const CLI::App* app) {
  while (app->get_parent() && app->get_parent()->get_parent()) app = app->get_parent();
  return app->get_parent() ? app->get_name() : "";
}

// CLI11's failures in our words.
std::string Reason(const CLI::ParseError& e, const CLI::App& root, const CLI::App& at) {
  const std::vector<std::string> rest = root.remaining(true);
  const std::string first = rest.empty() ? "" : rest.front();
  const bool option = first.size() > 1 && first[0] == '-';
  const std::vector<const CLI::App*> choices = at.get_subcommands([](const CLI::App*) { return true; });
  if (dynamic_cast<const CLI::RequiredError*>(&e) && !choices.empty() && at.get_subcommands().empty()) {
    if (&at == &root) {
      return (first.empty() || option ? "no command given" : "unknown command '" + first + "'") +
             " (see 'vistara-spatial --help')";
    }
    std::string names;
    for (const CLI::App* c : choices) names += (names.empty() ? "" : ", ") + c->get_name();
    return (first.empty() || option ? "no operation given" : "unknown operation '" + first + "'") + " (" + names + ")";
  }
  if (dynamic_cast<const CLI::ExtrasError*>(&e)) {
    return option ? "unknown option " + first + " (see '" + CommandPath(at) + " --help')"
                  : "unexpected argument '" + first + "'";
  }
  if (dynamic_cast<const CLI::ArgumentMismatch*>(&e)) {
    const std::string what = e.what();
    return what.substr(0, what.find(':')) + " needs a value";
  }
  return e.what();
}

}  // namespace

Registrar::Registrar(const char* name, const char* summary, const char* details, DeclareFunction declare) {
  Registry().push_back({name, summary, details, declare});
}

CLI::App* AddOperation(CLI::App* command, const std::string& name, const std::string& summary,
                       const std::string& details) {
  command->require_subcommand(1);
  CLI::App* operation = command->add_subcommand(name, summary);
  operation->footer(details);
  return operation;
}

void SetRun(CLI::App* app, RunFunction run, Output output) { Actions()[app] = {std::move(run), output}; }

int Main(const std::vector<std::string>& args, std::istream& in, std::ostream& out, std::ostream& err) {
  const std::unique_ptr<CLI::App> root = MakeApp();
  // Known before parsing, so that a refused word is reported in the form asked for.
  bool json = false;
  for (size_t i = 0; i < args.size() && args[i] != "--"; ++i) json |= args[i] == "--json";
  try {
    root->parse(std::vector<std::string>(args.rbegin(), args.rend()));  // CLI11 takes them last first
  } catch (const CLI::CallForHelp&) {
    out << HelpText(*Selected(*root));
    return 0;
  } catch (const CLI::CallForVersion& e) {
    out << e.what() << "\n";
    return 0;
  } catch (const CLI::ParseError& e) {
    const CLI::App* at = Selected(*root);
    Io io(CommandName(at), json, in, out, err);
    return io.Fail(Reason(e, *root, *at));
  }
  const CLI::App* at = Selected(*root);
  Io io(CommandName(at), json, in, out, err);
  const Action& action = Actions().at(at);
  if (json && action.output == Output::kNone) {
    return io.Fail("--json does not apply to '" + CommandPath(*at).substr(CommandPath(*root).size() + 1) + "'");
  }
  if (root->get_option("--verbose")->count() > 0) base::SetLogSink(base::StderrLogSink());
  return action.run(io);
}

// ---- output ------------------------------------------------------------------------------------

namespace {

std::string CompactJson(const Json::Value& value) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  builder["precision"] = 16;
  builder["emitUTF8"] = true;
  return Json::writeString(builder, value);
}

Json::Value ErrorJson(const std::string& reason) {
  Json::Value error(Json::objectValue);
  error["error"] = reason;
  return error;
}

}  // namespace

Io::Io(std::string command, bool json, std::istream& in, std::ostream& out, std::ostream& err)
    : command_(std::move(command)), json_(json), in_(in), out_(out), err_(err) {}

void Io::Print(const Json::Value& json, const std::string& text) {
  if (json_) out_ << JsonText(json) << "\n";
  else out_ << text;
}

void Io::PrintLine(const Json::Value& json, const std::string& text) {
  out_ << (json_ ? CompactJson(json) : text) << "\n";
}

int Io::Fail(const std::string& reason) {
  err_ << "vistara-spatial: " << (command_.empty() ? "" : command_ + ": ") << reason << "\n";
  if (json_) out_ << CompactJson(ErrorJson(reason)) << "\n";
  return 1;
}

void Io::InputError(const std::string& where, const std::string& reason) {
  const std::string text = where + ": " + reason;
  err_ << "vistara-spatial: " << command_ << ": " << text << "\n";
  out_ << (json_ ? CompactJson(ErrorJson(text)) : "error: " + text) << "\n";
  status_ = 1;
}

void Io::Warn(const std::string& reason) { err_ << "vistara-spatial: " << command_ << ": warning: " << reason << "\n"; }

bool Io::Read(const std::string& path, std::string* bytes, std::string* error) {
  std::ostringstream s;
  if (path == "-") {
    if (stdin_read_) {
      *error = "standard input named twice";
      return false;
    }
    stdin_read_ = true;
    s << in_.rdbuf();
  } else {
    std::error_code ec;
    std::ifstream file(path, std::ios::binary);
    if (!file || std::filesystem::is_directory(path, ec)) {
      *error = "cannot read '" + path + "'";
      return false;
    }
    s << file.rdbuf();
  }
  *bytes = s.str();
  return true;
}

bool Io::Write(const std::string& path, const std::string& bytes, std::string* error) {
  if (path == "-") {
    out_.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    out_.flush();
    return true;
  }
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  file.close();
  if (!file) {
    *error = "cannot write '" + path + "'";
    return false;
  }
  return true;
}

int ForEachInput(Io& io, const std::vector<std::string>& words, const InputHandler& handle) {
  auto one = [&](int number, const std::string& input) {
    Json::Value json(Json::objectValue);
    std::string text, error;
    if (handle(input, &json, &text, &error)) io.PrintLine(json, text);
    else io.InputError("line " + std::to_string(number), error);
  };
  for (size_t i = 0; i < words.size(); ++i) one(static_cast<int>(i + 1), words[i]);
  if (!words.empty()) return io.status();
  std::string line;
  for (int number = 1; std::getline(io.in(), line); ++number) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.find_first_not_of(" \t") != std::string::npos) one(number, line);
  }
  return io.status();
}

Progress::Progress(std::ostream& err, bool requested) : err_(err), shown_(requested && isatty(STDERR_FILENO)) {}

Progress::~Progress() {
  if (shown_ && width_ > 0) err_ << '\r' << std::string(width_, ' ') << '\r' << std::flush;
}

void Progress::Update(const std::string& text) {
  if (!shown_) return;
  // Blanks over what is left of a longer line before.
  err_ << '\r' << text << std::string(width_ > text.size() ? width_ - text.size() : 0, ' ') << std::flush;
  width_ = text.size();
}

std::string ShownNumber(double v) {
  char text[32];
  std::snprintf(text, sizeof text, "%.15g", v);
  return text;
}

std::string Counted(size_t n, const std::string& one, const std::string& many) {
  return std::to_string(n) + " " + (n == 1 ? one : many);
}

Json::Value JsonNumber(double value) { return std::isfinite(value) ? Json::Value(value) : Json::Value(); }

std::string JsonText(const Json::Value& value) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "  ";
  builder["precision"] = 16;
  builder["emitUTF8"] = true;
  return Json::writeString(builder, value);
}

}  // namespace vistara::cli
