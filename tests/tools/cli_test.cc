// Runs the command-line tables in tests/tools/*.cases against the built vistara-spatial.
//
// A table is a list of cases separated by blank lines. Each line of a case starts with a word:
//   case: NAME          the case's name (required, first)
//   args: WORDS         the arguments; blanks separate words, '...' and "..." quote, \ escapes
//   stdin: TEXT         one line of standard input (repeatable)
//   stdout: TEXT        one line of the exact expected standard output (repeatable)
//   stdout~ REGEX       standard output must contain a match (ECMAScript syntax; repeatable)
//   stderr: TEXT        one line of the exact expected standard error (repeatable)
//   stderr~ REGEX       standard error must contain a match
//   exit: N             the expected exit status (default 0)
// Lines starting with # are comments.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>

namespace {

struct CliCase {
  std::string file, name;
  std::vector<std::string> args;
  std::string stdin_text;
  std::optional<std::string> stdout_exact, stderr_exact;
  std::vector<std::string> stdout_patterns, stderr_patterns;
  int exit_status = 0;
};

std::vector<std::string> SplitWords(const std::string& text) {
  std::vector<std::string> words;
  std::string word;
  bool in_word = false;
  char quote = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (quote) {
      if (c == quote) quote = 0;
      // As in the shell: inside "..." a backslash escapes only " and itself.
      else if (c == '\\' && quote == '"' && i + 1 < text.size() && (text[i + 1] == '"' || text[i + 1] == '\\')) word.push_back(text[++i]);
      else word.push_back(c);
    } else if (c == '\'' || c == '"') {
      quote = c;
      in_word = true;
    } else if (c == '\\' && i + 1 < text.size()) {
      word.push_back(text[++i]);
      in_word = true;
    } else if (c == ' ' || c == '\t') {
      if (in_word) words.push_back(word);
      word.clear();
      in_word = false;
    } else {
      word.push_back(c);
      in_word = true;
    }
  }
  if (in_word) words.push_back(word);
  return words;
}

std::vector<CliCase> LoadCases() {
  std::vector<CliCase> cases;
  const std::filesystem::path dir = std::filesystem::path(VISTARA_SOURCE_DIR) / "tests" / "tools";
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(dir)) {
    if (entry.path().extension() == ".cases") files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  for (const auto& path : files) {
    std::ifstream in(path);
    std::string line;
    CliCase current;
    bool open = false;
    auto close = [&] {
      if (open) cases.push_back(current);
      current = CliCase();
      open = false;
    };
    while (std::getline(in, line)) {
      if (line.empty()) { close(); continue; }
      if (line[0] == '#') continue;
      auto rest = [&](size_t n) { return line.size() > n && line[n] == ' ' ? line.substr(n + 1) : line.substr(n); };
      auto append_line = [](std::optional<std::string>& text, const std::string& l) { text = text.value_or("") + l + "\n"; };
      if (line.rfind("case:", 0) == 0) { close(); open = true; current.file = path.filename().string(); current.name = rest(5); }
      else if (line.rfind("args:", 0) == 0) current.args = SplitWords(rest(5));
      else if (line.rfind("stdin:", 0) == 0) current.stdin_text += rest(6) + "\n";
      else if (line.rfind("stdout:", 0) == 0) append_line(current.stdout_exact, rest(7));
      else if (line.rfind("stdout~", 0) == 0) current.stdout_patterns.push_back(rest(7));
      else if (line.rfind("stderr:", 0) == 0) append_line(current.stderr_exact, rest(7));
      else if (line.rfind("stderr~", 0) == 0) current.stderr_patterns.push_back(rest(7));
      else if (line.rfind("exit:", 0) == 0) current.exit_status = std::stoi(rest(5));
      else ADD_FAILURE() << path << ": cannot read line '" << line << "'";
    }
    close();
  }
  return cases;
}

struct Outcome {
  std::string out, err;
  int status = -1;
};

// Runs the command with `args`, feeding `input` and collecting both outputs without deadlock.
Outcome RunCommand(const std::vector<std::string>& args, const std::string& input) {
  int in_pipe[2], out_pipe[2], err_pipe[2];
  if (pipe(in_pipe) || pipe(out_pipe) || pipe(err_pipe)) return {};
  const pid_t pid = fork();
  if (pid == 0) {
    dup2(in_pipe[0], 0);
    dup2(out_pipe[1], 1);
    dup2(err_pipe[1], 2);
    for (int fd : {in_pipe[0], in_pipe[1], out_pipe[0], out_pipe[1], err_pipe[0], err_pipe[1]}) close(fd);
    std::vector<char*> argv{const_cast<char*>(VISTARA_CLI_PATH)};
    for (const auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    execv(VISTARA_CLI_PATH, argv.data());
    _exit(127);
  }
  close(in_pipe[0]);
  close(out_pipe[1]);
  close(err_pipe[1]);
  Outcome o;
  size_t written = 0;
  int in_fd = in_pipe[1];
  fcntl(in_fd, F_SETFL, O_NONBLOCK);
  if (input.empty()) { close(in_fd); in_fd = -1; }
  int open_fds = 2;
  while (open_fds > 0 || in_fd >= 0) {
    pollfd fds[3] = {{out_pipe[0], POLLIN, 0}, {err_pipe[0], POLLIN, 0}, {in_fd, POLLOUT, 0}};
    if (poll(fds, in_fd >= 0 ? 3 : 2, 30000) <= 0) break;
    for (int i = 0; i < 2; ++i) {
      if (fds[i].fd < 0 || !(fds[i].revents & (POLLIN | POLLHUP))) continue;
      char buf[4096];
      const ssize_t n = read(fds[i].fd, buf, sizeof buf);
      if (n > 0) (i == 0 ? o.out : o.err).append(buf, static_cast<size_t>(n));
      else { close(fds[i].fd); (i == 0 ? out_pipe[0] : err_pipe[0]) = -1; --open_fds; }
    }
    if (in_fd >= 0 && (fds[2].revents & (POLLOUT | POLLERR | POLLHUP))) {
      const ssize_t n = write(in_fd, input.data() + written, input.size() - written);
      if (n > 0) written += static_cast<size_t>(n);
      if (n < 0 || written == input.size()) { close(in_fd); in_fd = -1; }
    }
    if (open_fds == 0 && in_fd >= 0) { close(in_fd); in_fd = -1; }
  }
  int status = 0;
  waitpid(pid, &status, 0);
  o.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return o;
}

void PrintTo(const CliCase& c, std::ostream* os) { *os << c.file << ": " << c.name; }

class CliTable : public ::testing::TestWithParam<CliCase> {};

TEST_P(CliTable, Runs) {
  const CliCase& c = GetParam();
  SCOPED_TRACE(c.file + ": " + c.name);
  const Outcome o = RunCommand(c.args, c.stdin_text);
  EXPECT_EQ(c.exit_status, o.status) << "stdout:\n" << o.out << "stderr:\n" << o.err;
  if (c.stdout_exact) {
    EXPECT_EQ(*c.stdout_exact, o.out);
  }
  if (c.stderr_exact) {
    EXPECT_EQ(*c.stderr_exact, o.err);
  }
  for (const auto& p : c.stdout_patterns) EXPECT_TRUE(std::regex_search(o.out, std::regex(p))) << "stdout lacks /" << p << "/:\n" << o.out;
  for (const auto& p : c.stderr_patterns) EXPECT_TRUE(std::regex_search(o.err, std::regex(p))) << "stderr lacks /" << p << "/:\n" << o.err;
}

std::string CaseName(const ::testing::TestParamInfo<CliCase>& info) {
  std::string name = info.param.file.substr(0, info.param.file.find('.')) + "_" + info.param.name;
  for (char& ch : name) {
    if (!std::isalnum(static_cast<unsigned char>(ch))) ch = '_';
  }
  return name;
}

INSTANTIATE_TEST_SUITE_P(Cases, CliTable, ::testing::ValuesIn(LoadCases()), CaseName);

}  // namespace
