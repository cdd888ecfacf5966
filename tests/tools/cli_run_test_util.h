// Running the command in-process, as the tests of commands that talk to the panorama service do.
#ifndef VISTARA_TESTS_TOOLS_CLI_RUN_TEST_UTIL_H_
#define VISTARA_TESTS_TOOLS_CLI_RUN_TEST_UTIL_H_

#include <json/json.h>

#include <sstream>
#include <string>
#include <vector>

#include "cli.h"

namespace vistara::testing {

struct Outcome {
  int status = -1;
  std::string out, err;
  Json::Value json;  // the output read as JSON, when it is
};

// cli::Main over `args` (the words after the program name), `input` being standard input.
inline Outcome Cli(const std::vector<std::string>& args, const std::string& input = "") {
  std::istringstream in(input);
  std::ostringstream out, err;
  Outcome o{cli::Main(args, in, out, err), out.str(), err.str(), {}};
  Json::Reader().parse(o.out, o.json);
  return o;
}

}  // namespace vistara::testing

#endif  // VISTARA_TESTS_TOOLS_CLI_RUN_TEST_UTIL_H_
