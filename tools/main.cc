// vistara-spatial: runs the library's services from the command line.
#include <cstring>
#include <iostream>

#include "base/logging.h"
#include "cli.h"
#include "spatial/spatial_api.h"

namespace {

void PrintHelp(std::ostream& out) {
  out << "Usage: vistara-spatial [--verbose] COMMAND [ARGS...] [--json]\n"
         "       vistara-spatial COMMAND --help\n"
         "       vistara-spatial --help | --version\n\n"
         "Commands:\n";
  for (const auto& [name, command] : vistara::cli::Commands()) {
    out << "  " << name << std::string(name.size() < 12 ? 12 - name.size() : 1, ' ') << command->summary << "\n";
  }
  out << "\nOptions:\n"
         "  --json      print JSON instead of text\n"
         "  --verbose   print the library's reports on stderr\n";
}

}  // namespace

int main(int argc, char** argv) {
  vistara::InitializeSpatialAPI();
  int first = 1;
  for (; first < argc && argv[first][0] == '-'; ++first) {
    if (std::strcmp(argv[first], "--help") == 0 || std::strcmp(argv[first], "-h") == 0) {
      PrintHelp(std::cout);
      return 0;
    }
    if (std::strcmp(argv[first], "--version") == 0) {
      std::cout << "vistara-spatial " << vistara::SpatialVersion() << "\n";
      return 0;
    }
    if (std::strcmp(argv[first], "--verbose") == 0) {
      vistara::base::SetLogSink(vistara::base::StderrLogSink());
      continue;
    }
    std::cerr << "vistara-spatial: unknown option " << argv[first] << " (see 'vistara-spatial --help')\n";
    return 1;
  }
  if (first >= argc) {
    std::cerr << "vistara-spatial: no command given (see 'vistara-spatial --help')\n";
    return 1;
  }
  const auto& commands = vistara::cli::Commands();
  auto it = commands.find(argv[first]);
  if (it == commands.end()) {
    std::cerr << "vistara-spatial: unknown command '" << argv[first] << "' (see 'vistara-spatial --help')\n";
    return 1;
  }
  const vistara::cli::Command& command = *it->second;
  std::vector<std::string> args(argv + first + 1, argv + argc);
  vistara::cli::Invocation inv(command, std::cout, std::cerr, std::cin);
  if (!inv.Parse(args)) return 1;
  if (inv.Has("help")) {
    std::cout << command.usage;
    return 0;
  }
  if (inv.Has("verbose")) vistara::base::SetLogSink(vistara::base::StderrLogSink());
  return command.run(inv);
}
