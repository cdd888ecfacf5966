// The pieces every subcommand of the vistara-spatial command shares: registration, arguments,
// errors, line-by-line input and JSON output.
//
// A subcommand is a Command registered by a static CommandRegistrar in its own file. Its run
// function gets an Invocation with the parsed arguments and returns the exit status.
// Conventions: bad input gives one line "vistara-spatial: <reason>" on stderr (with --json, the
// object {"error": "<reason>"} on stdout instead) and exit status 1. A command that reads many
// lines reports a bad line as "error: line N: <reason>" in its place, goes on, and exits 1 at the
// end.
#ifndef VISTARA_TOOLS_CLI_H_
#define VISTARA_TOOLS_CLI_H_

#include <json/json.h>

#include <functional>
#include <iosfwd>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace vistara::cli {

class Invocation;

struct Command {
  const char* name;
  const char* summary;  // one line, for the command list
  const char* usage;    // the whole help text of the subcommand
  // Options that take a value (`--date X` or `--date=X`); any other `--name` is a flag.
  std::vector<std::string> value_options;
  int (*run)(Invocation& inv);
};

struct CommandRegistrar {
  explicit CommandRegistrar(const Command& command);
};
// All registered commands, by name.
const std::map<std::string, const Command*>& Commands();

class Invocation {
 public:
  Invocation(const Command& command, std::ostream& out, std::ostream& err, std::istream& in);
  // Parses `args` (the words after the subcommand's name). False, after reporting, on a value
  // option with no value.
  bool Parse(const std::vector<std::string>& args);

  const Command& command() const { return command_; }
  const std::vector<std::string>& args() const { return args_; }
  bool json() const { return json_; }
  bool Has(const std::string& flag) const;
  std::optional<std::string> Option(const std::string& name) const;
  std::vector<std::string> Options(const std::string& name) const;
  // Reports an unknown flag or option and returns false if the invocation has one that is not in
  // `known` (and not --json or --help).
  bool CheckFlags(const std::vector<std::string>& known);

  std::ostream& out() { return out_; }
  std::ostream& err() { return err_; }
  std::istream& in() { return in_; }

  // Reports `reason` as the command's failure and returns 1.
  int Fail(const std::string& reason);
  // Prints a JSON value on its own line(s).
  void PrintJson(const Json::Value& value);

  // Runs `handle` on each non-empty line of standard input, numbering lines from 1. `handle`
  // returns false and sets its error text for a bad line, which is reported in the line's place.
  // Returns the exit status: 0, or 1 if any line was bad.
  int ForEachInputLine(const std::function<bool(const std::string& line, std::string* error)>& handle);
  // Reports a bad input line (as described above).
  void LineError(int line_number, const std::string& reason);

 private:
  const Command& command_;
  std::ostream& out_;
  std::ostream& err_;
  std::istream& in_;
  bool json_ = false;
  std::vector<std::string> args_;
  std::multimap<std::string, std::string> options_;  // flags map to ""
};

// A number for JSON output: null instead of NaN or infinity.
Json::Value JsonNumber(double value);
// The text of a JSON value as the command prints it (two-space indents, 16 significant digits).
std::string JsonText(const Json::Value& value);

}  // namespace vistara::cli

#endif  // VISTARA_TOOLS_CLI_H_
