// vistara-spatial help: the help of any subcommand, and the reference of them all as Markdown
// (docs/cli.md) or as a bash completion script, all read off the one tree of subcommands,
// operations, arguments and options.
#include <algorithm>
#include <cctype>
#include <memory>
#include <sstream>

#include "cli.h"

namespace vistara::cli {
namespace {

constexpr size_t kWidth = 100;  // columns of the help text

std::vector<const CLI::Option*> Arguments(const CLI::App& app) {
  return app.get_options([](const CLI::Option* o) { return o->get_positional(); });
}

// Options with a help line: not the help flag (every help names it) and not hidden (no group).
std::vector<const CLI::Option*> Options(const CLI::App& app) {
  const CLI::Option* help = app.get_help_ptr();
  return app.get_options(
      [help](const CLI::Option* o) { return !o->get_positional() && o != help && !o->get_group().empty(); });
}

std::vector<const CLI::App*> Operations(const CLI::App& app) {
  return app.get_subcommands([](const CLI::App*) { return true; });
}

bool IsFlag(const CLI::Option* o) { return o->get_expected_max() == 0; }
bool Repeats(const CLI::Option* o) { return o->get_items_expected_max() > 1; }

// "FILE...", "--depth N", "-h, --help".
std::string Label(const CLI::Option* o) {
  if (o->get_positional()) return o->get_name() + (Repeats(o) ? "..." : "");
  std::string names = o->get_name(false, true);
  for (size_t at = 0; (at = names.find(',', at)) != std::string::npos; at += 2) names.replace(at, 1, ", ");
  return IsFlag(o) ? names : names + " " + o->get_type_name();
}

// The words after the command's name in a usage line.
std::string UsageWords(const CLI::App& app) {
  std::string words;
  for (const CLI::Option* o : Arguments(app)) words += " " + (o->get_required() ? Label(o) : "[" + Label(o) + "]");
  for (const CLI::Option* o : Options(app)) {
    words += " " + (o->get_required() ? Label(o) : "[" + Label(o) + "]") + (Repeats(o) ? "..." : "");
  }
  return words;
}

std::vector<std::string> UsageLines(const CLI::App& app) {
  if (!app.get_parent()) {
    return {"vistara-spatial [--json] [--verbose] COMMAND [ARGS...]", "vistara-spatial COMMAND [OPERATION] --help",
            "vistara-spatial --help | --version"};
  }
  std::vector<std::string> lines;
  for (const CLI::App* op : Operations(app)) lines.push_back(CommandPath(*op) + UsageWords(*op));
  if (lines.empty()) lines.push_back(CommandPath(app) + UsageWords(app));
  return lines;
}

// `text` filled into lines of `width` columns, the later ones indented by `indent` blanks.
std::string Wrap(const std::string& text, size_t indent, size_t width) {
  std::istringstream words(text);
  std::string out, word;
  size_t column = indent;
  for (bool first = true; words >> word; first = false) {
    if (!first && column + 1 + word.size() > width) {
      out += "\n" + std::string(indent, ' ');
      column = indent;
    } else if (!first) {
      out += ' ';
      ++column;
    }
    out += word;
    column += word.size();
  }
  return out;
}

// Rows of "  LABEL  help", the help column aligned and wrapped.
std::string Table(const std::vector<std::pair<std::string, std::string>>& rows) {
  size_t label = 0;
  for (const auto& [l, h] : rows) label = std::max(label, std::min<size_t>(l.size(), 24));
  std::string out;
  for (const auto& [l, h] : rows) {
    out += "  " + l;
    if (l.size() > label) out += "\n" + std::string(label + 2, ' ');
    else out += std::string(label - l.size(), ' ');
    out += "  " + Wrap(h, label + 4, kWidth) + "\n";
  }
  return out;
}

std::string OptionTable(const std::vector<const CLI::Option*>& options) {
  std::vector<std::pair<std::string, std::string>> rows;
  for (const CLI::Option* o : options) rows.emplace_back(Label(o), o->get_description());
  return Table(rows);
}

// The root's options, which every subcommand takes too.
std::vector<const CLI::Option*> GlobalOptions(const CLI::App& app) {
  const CLI::App* root = &app;
  while (root->get_parent()) root = root->get_parent();
  std::vector<const CLI::Option*> options = Options(*root);
  options.push_back(root->get_help_ptr());
  return options;
}

// A summary ("the UTM zone of positions") as a sentence of its own.
std::string Sentence(std::string summary) {
  if (!summary.empty()) summary[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(summary[0])));
  return summary + ".";
}

// Markdown's own characters in running text escaped; `code` stays as it is.
std::string Escaped(const std::string& text) {
  std::string out;
  bool code = false;
  for (char c : text) {
    code ^= c == '`';
    if (!code && (c == '\\' || c == '*' || c == '_' || c == '<')) out += '\\';
    out += c;
  }
  return out;
}

void MarkdownSection(const CLI::App& app, const std::string& heading, std::string* out) {
  *out += heading + " " + CommandPath(app).substr(CommandPath(app).find(' ') + 1) + "\n\n";
  const std::vector<const CLI::App*> operations = Operations(app);
  if (operations.empty()) {
    *out += "```\n";
    for (const std::string& line : UsageLines(app)) *out += line + "\n";
    *out += "```\n\n";
  }
  *out += Escaped(Sentence(app.get_description())) + "\n\n";
  if (!app.get_footer().empty()) *out += Escaped(app.get_footer()) + "\n";
  std::vector<const CLI::Option*> items = Arguments(app);
  for (const CLI::Option* o : Options(app)) items.push_back(o);
  for (const CLI::Option* o : items) *out += "- `" + Label(o) + "`: " + Escaped(o->get_description()) + "\n";
  if (!items.empty()) *out += "\n";
  for (const CLI::App* op : operations) MarkdownSection(*op, heading + "#", out);
}

std::string Join(const std::string& path, const std::string& name) { return path.empty() ? name : path + " " + name; }

// The bash "case" patterns that take a completion from `path` one word on: "utm:to".
void CompletionSteps(const CLI::App& app, const std::string& path, std::string* out) {
  for (const CLI::App* op : Operations(app)) {
    *out += (out->empty() ? "\"" : "|\"") + path + ":" + op->get_name() + "\"";
    CompletionSteps(*op, Join(path, op->get_name()), out);
  }
}

// One "case" branch per subcommand path: the words that may follow it, and whether files may.
void CompletionCases(const CLI::App& app, const std::string& path, const std::string& globals, std::string* out) {
  std::string words, files;
  for (const CLI::App* op : Operations(app)) words += op->get_name() + " ";
  for (const CLI::Option* o : app.get_options()) {
    if (o->get_type_name() == "FILE") files = " files=1";
    if (!o->get_positional() && !o->get_group().empty()) words += o->get_name(false, true) + " ";
  }
  std::replace(words.begin(), words.end(), ',', ' ');
  words += path.empty() ? "" : globals;  // the root's own options are the global ones
  *out += "    \"" + path + "\") words=\"" + words + "\"" + files + " ;;\n";
  for (const CLI::App* op : Operations(app)) CompletionCases(*op, Join(path, op->get_name()), globals, out);
}

struct HelpOptions {
  std::string command, operation;
  bool markdown = false, bash_completion = false;
};

int Run(Io& io, const CLI::App& root, const HelpOptions& o) {
  if (o.markdown) {
    io.out() << Markdown(root);
    return 0;
  }
  if (o.bash_completion) {
    io.out() << BashCompletion(root);
    return 0;
  }
  const CLI::App* app = &root;
  for (const std::string& name : {o.command, o.operation}) {
    if (name.empty()) break;
    const std::vector<const CLI::App*> found =
        app->get_subcommands([&name](const CLI::App* a) { return a->get_name() == name; });
    if (found.empty()) {
      return io.Fail("no " + (app == &root ? std::string("command") : "operation") + " '" + name + "' (see '" +
                     CommandPath(*app) + " --help')");
    }
    app = found.front();
  }
  io.out() << HelpText(*app);
  return 0;
}

void Declare(CLI::App* command) {
  auto o = std::make_shared<HelpOptions>();
  command->add_option("COMMAND", o->command, "the command to explain");
  command->add_option("OPERATION", o->operation, "one of its operations");
  command->add_flag("--markdown", o->markdown, "the reference of every command as Markdown (docs/cli.md)");
  command->add_flag("--bash-completion", o->bash_completion, "the bash completion script")->group("");
  const CLI::App* root = command->get_parent();
  SetRun(command, [o, root](Io& io) { return Run(io, *root, *o); }, Output::kNone);
}

const Registrar kRegistrar(
    "help", "the help of a command or operation, or the reference of all",
    "With no COMMAND, the help of vistara-spatial itself; 'vistara-spatial help utm to' is\n"
    "'vistara-spatial utm to --help'. --markdown prints the reference of every command, the text of\n"
    "docs/cli.md.\n",
    Declare);

}  // namespace

std::string CommandPath(const CLI::App& app) {
  return app.get_parent() ? CommandPath(*app.get_parent()) + " " + app.get_name() : app.get_name();
}

std::string HelpText(const CLI::App& app) {
  std::string out;
  const std::vector<std::string> usage = UsageLines(app);
  for (size_t i = 0; i < usage.size(); ++i) out += (i == 0 ? "Usage: " : "       ") + Wrap(usage[i], 11, kWidth) + "\n";
  out += "\n" + Sentence(app.get_description()) + "\n\n";
  if (!app.get_footer().empty()) out += app.get_footer() + "\n";
  std::vector<std::pair<std::string, std::string>> operations;
  for (const CLI::App* op : Operations(app)) operations.emplace_back(op->get_name(), op->get_description());
  if (!app.get_parent()) {
    out += "Commands:\n" + Table(operations) + "\nGlobal options, before or after COMMAND:\n" +
           OptionTable(GlobalOptions(app));
    return out;
  }
  if (!operations.empty()) out += "Operations (each with --help):\n" + Table(operations);
  if (!Arguments(app).empty()) out += "Arguments:\n" + OptionTable(Arguments(app));
  if (!Options(app).empty()) out += "Options:\n" + OptionTable(Options(app));
  std::string globals;
  for (const CLI::Option* o : GlobalOptions(app)) globals += (globals.empty() ? "" : ", ") + Label(o);
  return out + "\nGlobal options: " + globals + "\n";
}

std::string Markdown(const CLI::App& root) {
  std::string out =
      "# The vistara-spatial command\n\n"
      "<!-- The output of `vistara-spatial help --markdown`; a test fails when the two differ. -->\n\n```\n";
  for (const std::string& line : UsageLines(root)) out += line + "\n";
  out += "```\n\n" + Escaped(Sentence(root.get_description())) + "\n\n" + Escaped(root.get_footer()) +
         "\nGlobal options, before or after the command:\n\n";
  for (const CLI::Option* o : GlobalOptions(root)) out += "- `" + Label(o) + "`: " + Escaped(o->get_description()) + "\n";
  out += "\n";
  for (const CLI::App* command : Operations(root)) MarkdownSection(*command, "##", &out);
  return out;
}

std::string BashCompletion(const CLI::App& root) {
  std::string globals, steps, cases;
  for (const CLI::Option* o : Options(root)) globals += o->get_name(false, true) + " ";
  CompletionSteps(root, "", &steps);
  CompletionCases(root, "", globals, &cases);
  return "# bash completion for vistara-spatial, made by 'vistara-spatial help --bash-completion'\n"
         "_vistara_spatial() {\n"
         "  local cur=${COMP_WORDS[COMP_CWORD]} path= words= files= i\n"
         "  # The subcommand and operation given so far.\n"
         "  for ((i = 1; i < COMP_CWORD; i++)); do\n"
         "    case \"$path:${COMP_WORDS[i]}\" in\n"
         "      " + steps + ") path=${path:+$path }${COMP_WORDS[i]} ;;\n"
         "    esac\n"
         "  done\n"
         "  case \"$path\" in\n" + cases +
         "  esac\n"
         "  COMPREPLY=($(compgen -W \"$words\" -- \"$cur\"))\n"
         "  if [[ -n $files && $cur != -* ]]; then\n"
         "    compopt -o filenames 2>/dev/null\n"
         "    COMPREPLY+=($(compgen -f -- \"$cur\"))\n"
         "  fi\n"
         "}\n"
         "complete -F _vistara_spatial vistara-spatial\n";
}

}  // namespace vistara::cli
