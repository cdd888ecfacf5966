// Runs the command-line tables in tests/tools/*.cases against the built vistara-spatial, and the
// bash completion it makes.
//
// A table is a list of cases separated by blank lines; lines starting with # are comments. Each
// case runs in a fresh scratch folder, the working folder of its runs. A line starts with a key:
//   case: NAME          the case's name (required, first)
//   file NAME: TEXT     one line of a file in the scratch folder (repeatable)
//   hexfile NAME: HEX   bytes of a file in the scratch folder ("FF D8 ..."; repeatable)
//   args: WORDS         a run of the command, its words as the shell reads them (quote what it would
//                       expand). A case may hold several runs, in order; the keys below belong to the last.
//   stdin: TEXT         one line of standard input (repeatable); stdin-hex: HEX gives bytes
//   stdout: TEXT        one line of the exact expected standard output (repeatable)
//   stdout~ REGEX       standard output must contain a match (ECMAScript syntax; repeatable)
//   stdout-hex: HEX     the exact expected standard output, as bytes
//   stdout-file: PATH   standard output must equal this file of the source tree
//   stderr: TEXT        the exact expected standard error (repeatable); stderr~ REGEX likewise
//   exit: N             the expected exit status (default 0)
// The runs see tests/data as the shell variable $DATA.
#include <gtest/gtest.h>

#include <regex>

#include "test_util.h"

namespace vistara::testing {
namespace {

struct Step {
  std::string args, stdin_text;
  std::optional<std::string> stdout_exact, stderr_exact;
  std::vector<std::string> stdout_patterns, stderr_patterns;
  int exit_status = 0;
};

struct CliCase {
  std::string file, name;
  std::vector<std::pair<std::string, std::string>> files;  // name, bytes to append
  std::vector<Step> runs;
};

std::vector<CliCase> LoadCases() {
  std::vector<CliCase> cases;
  const std::filesystem::path dir = std::filesystem::path(VISTARA_SOURCE_DIR) / "tests" / "tools";
  std::vector<std::filesystem::path> tables;
  for (const auto& entry : std::filesystem::directory_iterator(dir)) {
    if (entry.path().extension() == ".cases") tables.push_back(entry.path());
  }
  std::sort(tables.begin(), tables.end());
  for (const auto& path : tables) {
    std::ifstream in(path);
    bool open = false;
    for (std::string line; std::getline(in, line);) {
      if (line.empty() || line[0] == '#') {
        open &= !line.empty();
        continue;
      }
      const size_t sep = line.find_first_of(":~");  // none: the whole line is an unknown key, reported below
      const std::string key = line.substr(0, sep + 1);
      const std::string value = line.substr(sep + 1 + (line.compare(sep + 1, 1, " ") == 0));
      auto append = [&value](std::optional<std::string>& text) { text = text.value_or("") + value + "\n"; };
      if (key == "case:") {
        cases.push_back({path.filename().string(), value, {}, {}});
        open = true;
        continue;
      }
      if (!open) {
        ADD_FAILURE() << path << ": a line outside a case: '" << line << "'";
        continue;
      }
      CliCase& c = cases.back();
      if (key.rfind("file ", 0) == 0) c.files.emplace_back(key.substr(5, key.size() - 6), value + "\n");
      else if (key.rfind("hexfile ", 0) == 0) c.files.emplace_back(key.substr(8, key.size() - 9), FromHex(value));
      else if (key == "args:") c.runs.emplace_back().args = value;
      else if (c.runs.empty()) ADD_FAILURE() << path << ": '" << line << "' comes before args:";
      else if (Step& r = c.runs.back(); key == "stdin:") r.stdin_text += value + "\n";
      else if (key == "stdin-hex:") r.stdin_text += FromHex(value);
      else if (key == "stdout:") append(r.stdout_exact);
      else if (key == "stdout-hex:") r.stdout_exact = FromHex(value);
      else if (key == "stdout~") r.stdout_patterns.push_back(value);
      else if (key == "stdout-file:") r.stdout_exact = ReadFile(std::filesystem::path(VISTARA_SOURCE_DIR) / value);
      else if (key == "stderr:") append(r.stderr_exact);
      else if (key == "stderr~") r.stderr_patterns.push_back(value);
      else if (key == "exit:") r.exit_status = std::stoi(value);
      else ADD_FAILURE() << path << ": cannot read line '" << line << "'";
    }
  }
  return cases;
}

struct Outcome {
  std::string out, err;
  int status = -1;
};

// Runs the command through the shell in `dir` with the run's words and input; `io` holds standard
// input and error as files (paths with no quote in them). A crash shows as status 128 + signal.
Outcome RunCommand(const Step& run, const std::filesystem::path& dir, const TempDir& io) {
  WriteFile(io / "in", run.stdin_text);
  const std::string setup = "cd '" + dir.string() + "' && DATA='" VISTARA_TEST_DATA_DIR "' && ";
  const std::string streams = " <'" + (io / "in") + "' 2>'" + (io / "err") + "'";
  Outcome o;
  o.status = RunShell(setup + "'" VISTARA_CLI_PATH "' " + run.args + streams, &o.out);
  o.err = ReadFile(io / "err");
  return o;
}

void PrintTo(const CliCase& c, std::ostream* os) { *os << c.file << ": " << c.name; }

class CliTable : public ::testing::TestWithParam<CliCase> {};

TEST_P(CliTable, Runs) {
  const CliCase& c = GetParam();
  SCOPED_TRACE(c.file + ": " + c.name);
  const TempDir dir("vistara-cli-case-"), io("vistara-cli-io-");
  for (const auto& [name, bytes] : c.files) std::ofstream(dir / name, std::ios::binary | std::ios::app) << bytes;
  for (size_t i = 0; i < c.runs.size(); ++i) {
    const Step& r = c.runs[i];
    SCOPED_TRACE("run " + std::to_string(i + 1));
    const Outcome o = RunCommand(r, dir.path(), io);
    EXPECT_EQ(r.exit_status, o.status) << "stdout:\n" << o.out << "stderr:\n" << o.err;
    EXPECT_EQ(r.stdout_exact.value_or(o.out), o.out);
    EXPECT_EQ(r.stderr_exact.value_or(o.err), o.err);
    for (const auto& [patterns, text] : {std::pair(&r.stdout_patterns, &o.out), {&r.stderr_patterns, &o.err}}) {
      for (const auto& p : *patterns) EXPECT_TRUE(std::regex_search(*text, std::regex(p))) << "no /" << p << "/ in\n" << *text;
    }
  }
}

std::string CaseName(const ::testing::TestParamInfo<CliCase>& info) {
  std::string name = info.param.file.substr(0, info.param.file.find('.')) + "_" + info.param.name;
  for (char& ch : name) {
    if (!std::isalnum(static_cast<unsigned char>(ch))) ch = '_';
  }
  return name;
}

INSTANTIATE_TEST_SUITE_P(Cases, CliTable, ::testing::ValuesIn(LoadCases()), CaseName);

// The script the command makes for itself, sourced into bash: it completes commands, operations,
// options (global ones after the command too) and, where the command takes files, file names.
TEST(CliCompletionTest, CompletesFromTheCommandTable) {
  const TempDir dir("vistara-cli-completion-");
  WriteFile(dir / "complete.sh",
            "source <(\"$1\" help --bash-completion)\n"
            "c() { COMP_WORDS=(\"$@\"); COMP_CWORD=$(($# - 1)); _vistara_spatial; echo \"${COMPREPLY[*]}\"; }\n"
            "c vistara-spatial ut\n"
            "c vistara-spatial --json utm ''\n"
            "c vistara-spatial shape encode --po\n"
            "c vistara-spatial utm to 1 --j\n"
            "c vistara-spatial pano \"$2/panorama_s\"\n");
  std::string out;
  ASSERT_EQ(RunShell("bash " + (dir / "complete.sh") + " " + VISTARA_CLI_PATH + " " + VISTARA_TEST_DATA_DIR, &out), 0);
  EXPECT_EQ(out, "utm\nto from -h --help --json --verbose --version\n--point-bits --point-unit\n--json\n" +
                     std::string(VISTARA_TEST_DATA_DIR) + "/panorama_single.xml\n");
}

}  // namespace
}  // namespace vistara::testing
