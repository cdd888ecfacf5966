// vistara-spatial text: the library's text helpers on words given or read line by line.
#include <climits>
#include <memory>

#include "base/strutil.h"
#include "cli.h"

namespace vistara::cli {
namespace {

bool Escape(const std::string& input, Json::Value* json, std::string* text, std::string*) {
  *text = base::CEscape(input);
  (*json)["input"] = input;
  (*json)["escaped"] = *text;
  return true;
}

bool Split(const std::string& delimiters, const std::string& input, Json::Value* json, std::string* text) {
  std::vector<std::string> pieces;
  base::SplitStringAllowEmpty(input, delimiters.c_str(), &pieces);
  (*json)["input"] = input;
  Json::Value& list = (*json)["pieces"] = Json::Value(Json::arrayValue);
  for (size_t i = 0; i < pieces.size(); ++i) {
    list.append(pieces[i]);
    text->append(i ? " \"" : "\"").append(base::CEscape(pieces[i])).append(1, '"');
  }
  return true;
}

bool Identifier(const std::string& input, Json::Value* json, std::string* text, std::string*) {
  const bool ok = base::IsIdentifier(input.c_str());
  (*json)["input"] = input;
  (*json)["identifier"] = ok;
  *text = ok ? "identifier" : "not an identifier";
  return true;
}

bool Number(const std::string& input, Json::Value* json, std::string* text, std::string* error) {
  // INT_MIN marks "no number": a value ParseLeadingDec32Value returns for no text of ours.
  const int value = base::ParseLeadingDec32Value(input.c_str(), INT_MIN);
  if (value == INT_MIN) {
    *error = "no leading decimal number in '" + base::CEscape(input) + "'";
    return false;
  }
  (*json)["input"] = input;
  (*json)["number"] = value;
  *text = std::to_string(value);
  return true;
}

// An operation over TEXT... or standard input.
CLI::App* Operation(CLI::App* command, const char* name, const char* summary, InputHandler handle,
                    const std::shared_ptr<std::vector<std::string>>& words) {
  CLI::App* op = AddOperation(command, name, summary, "");
  op->add_option("TEXT", *words, "the texts; none: each line of standard input");
  SetRun(op, [words, handle](Io& io) { return ForEachInput(io, *words, handle); });
  return op;
}

void Declare(CLI::App* command) {
  auto words = std::make_shared<std::vector<std::string>>();
  Operation(command, "escape", "the text as the body of a C string: \\t \\n \\r \\\" \\' \\\\, other bytes as \\ooo",
            Escape, words);
  auto delimiters = std::make_shared<std::string>(",");
  CLI::App* split = Operation(
      command, "split", "the pieces between any of the delimiters, empty ones kept",
      [delimiters](const std::string& input, Json::Value* json, std::string* text, std::string*) {
        return Split(*delimiters, input, json, text);
      },
      words);
  split->add_option("--delimiters", *delimiters, "the characters that part pieces (default \",\")")->type_name("CHARS");
  Operation(command, "identifier", "whether the whole text is a C identifier", Identifier, words);
  Operation(command, "number", "the decimal number at the start of the text", Number, words);
}

const Registrar kRegistrar("text", "C escapes, splitting, identifiers and leading numbers of texts",
                           "Each TEXT, or each line of standard input when there is none, gives one line.\n", Declare);

}  // namespace
}  // namespace vistara::cli
