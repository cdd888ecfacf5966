// vistara-spatial text: the library's text helpers on words given or read line by line.
#include <algorithm>
#include <climits>

#include "base/strutil.h"
#include "cli.h"

namespace vistara::cli {
namespace {

// One operation (already known to be one of kOps) on one text: fills the JSON result and the
// printed line.
bool Apply(const std::string& op, const std::string& text, const std::string& delimiters, Json::Value* json,
           std::string* line, std::string* error) {
  (*json)["input"] = text;
  if (op == "escape") {
    *line = base::CEscape(text);
    (*json)["escaped"] = *line;
  } else if (op == "split") {
    std::vector<std::string> pieces;
    base::SplitStringAllowEmpty(text, delimiters.c_str(), &pieces);
    Json::Value& list = (*json)["pieces"] = Json::Value(Json::arrayValue);
    line->clear();
    for (size_t i = 0; i < pieces.size(); ++i) {
      list.append(pieces[i]);
      if (i) line->push_back(' ');
      line->append(1, '"').append(base::CEscape(pieces[i])).append(1, '"');
    }
  } else if (op == "identifier") {
    const bool ok = base::IsIdentifier(text.c_str());
    (*json)["identifier"] = ok;
    *line = ok ? "identifier" : "not an identifier";
  } else if (op == "number") {
    // INT_MIN marks "no number": a value ParseLeadingDec32Value returns for no text of ours.
    const int value = base::ParseLeadingDec32Value(text.c_str(), INT_MIN);
    if (value == INT_MIN) {
      *error = "no leading decimal number in '" + base::CEscape(text) + "'";
      return false;
    }
    (*json)["number"] = value;
    *line = std::to_string(value);
  }
  return true;
}

int Run(Invocation& inv) {
  if (!inv.CheckFlags({})) return 1;
  if (inv.args().empty()) return inv.Fail("no operation given (escape, split, identifier, number)");
  const std::string op = inv.args()[0];
  static const char* const kOps[] = {"escape", "split", "identifier", "number"};
  if (std::find(std::begin(kOps), std::end(kOps), op) == std::end(kOps)) {
    return inv.Fail("unknown operation '" + op + "' (escape, split, identifier, number)");
  }
  const std::string delimiters = inv.Option("delimiters").value_or(",");
  auto handle = [&](const std::string& text, std::string* error) {
    Json::Value json(Json::objectValue);
    std::string line;
    if (!Apply(op, text, delimiters, &json, &line, error)) return false;
    if (inv.json()) inv.PrintJson(json);
    else inv.out() << line << "\n";
    return true;
  };
  if (inv.args().size() == 1) return inv.ForEachInputLine(handle);
  int status = 0;
  for (size_t i = 1; i < inv.args().size(); ++i) {
    std::string error;
    if (!handle(inv.args()[i], &error)) status = inv.Fail(error);
  }
  return status;
}

const Command kCommand{
    "text",
    "C escapes, splitting, identifiers and leading numbers of texts",
    "Usage: vistara-spatial text OPERATION [TEXT...] [--delimiters CHARS] [--json]\n\n"
    "Operations:\n"
    "  escape      the text as a C string body: \\t \\n \\r \\\" \\' \\\\ and \\ooo for other bytes\n"
    "  split       the pieces between any of --delimiters (default \",\"), empty ones kept\n"
    "  identifier  whether the whole text is a C identifier\n"
    "  number      the decimal number at the start of the text\n\n"
    "With no TEXT, each line of standard input is one text.\n",
    {"delimiters"},
    Run};
const CommandRegistrar kRegistrar(kCommand);

}  // namespace
}  // namespace vistara::cli
