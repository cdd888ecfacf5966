#include "cli.h"

#include <cmath>
#include <iostream>
#include <memory>

namespace vistara::cli {

namespace {
std::map<std::string, const Command*>& Registry() {
  static std::map<std::string, const Command*> commands;
  return commands;
}
}  // namespace

CommandRegistrar::CommandRegistrar(const Command& command) { Registry()[command.name] = &command; }

const std::map<std::string, const Command*>& Commands() { return Registry(); }

Invocation::Invocation(const Command& command, std::ostream& out, std::ostream& err, std::istream& in)
    : command_(command), out_(out), err_(err), in_(in) {}

bool Invocation::Parse(const std::vector<std::string>& args) {
  bool options_done = false;
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    // "--" ends the options; a lone "-" and negative numbers ("-33.9") are positional.
    if (options_done || a.size() < 3 || a.compare(0, 2, "--") != 0) {
      args_.push_back(a);
      continue;
    }
    if (a == "--") {
      options_done = true;
      continue;
    }
    std::string name = a.substr(2), value;
    const size_t eq = name.find('=');
    bool has_value = eq != std::string::npos;
    if (has_value) {
      value = name.substr(eq + 1);
      name.resize(eq);
    }
    bool takes_value = false;
    for (const std::string& v : command_.value_options) takes_value |= v == name;
    if (takes_value && !has_value) {
      if (i + 1 >= args.size()) {
        Fail("option --" + name + " needs a value");
        return false;
      }
      value = args[++i];
    }
    if (name == "json") json_ = true;
    options_.emplace(name, value);
  }
  return true;
}

bool Invocation::Has(const std::string& flag) const { return options_.count(flag) != 0; }

std::optional<std::string> Invocation::Option(const std::string& name) const {
  auto range = options_.equal_range(name);
  if (range.first == range.second) return std::nullopt;
  return std::prev(range.second)->second;  // the last one given wins
}

std::vector<std::string> Invocation::Options(const std::string& name) const {
  std::vector<std::string> values;
  for (auto [it, end] = options_.equal_range(name); it != end; ++it) values.push_back(it->second);
  return values;
}

bool Invocation::CheckFlags(const std::vector<std::string>& known) {
  for (const auto& [name, value] : options_) {
    bool ok = name == "json" || name == "help" || name == "verbose";
    for (const std::string& k : known) ok |= k == name;
    for (const std::string& k : command_.value_options) ok |= k == name;
    if (!ok) {
      Fail("unknown option --" + name + " (see 'vistara-spatial " + command_.name + " --help')");
      return false;
    }
  }
  return true;
}

int Invocation::Fail(const std::string& reason) {
  if (json_) {
    Json::Value error(Json::objectValue);
    error["error"] = reason;
    PrintJson(error);
  } else {
    err_ << "vistara-spatial: " << reason << "\n";
  }
  return 1;
}

void Invocation::PrintJson(const Json::Value& value) { out_ << JsonText(value) << "\n"; }

void Invocation::LineError(int line_number, const std::string& reason) {
  if (json_) {
    Json::Value error(Json::objectValue);
    error["error"] = "line " + std::to_string(line_number) + ": " + reason;
    PrintJson(error);
  } else {
    out_ << "error: line " << line_number << ": " << reason << "\n";
  }
}

int Invocation::ForEachInputLine(const std::function<bool(const std::string&, std::string*)>& handle) {
  int status = 0, number = 0;
  std::string line;
  while (std::getline(in_, line)) {
    ++number;
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.find_first_not_of(" \t") == std::string::npos) continue;
    std::string error;
    if (!handle(line, &error)) {
      LineError(number, error);
      status = 1;
    }
  }
  return status;
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
