// vistara-spatial jpeg: the acquisition date and the comment of JPEG tiles.
//   jpeg dates FILE...                          the aggregated date in each file's comment
//   jpeg write-dates FILE --date D=W... [--bound B]  writes the date section into the comment
//   jpeg comment FILE [--raw]                   the comment itself
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>

#include "base/strutil.h"
#include "cli.h"
#include "common/internal/jpeg_comments.h"
#include "common/internal/jpeg_comments_dates.h"
#include "jpeg_file.h"

namespace vistara::cli {
namespace {

bool ReadFile(const std::string& path, std::string* bytes, std::string* error) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    *error = "cannot open '" + path + "'";
    return false;
  }
  std::ostringstream s;
  s << in.rdbuf();
  *bytes = s.str();
  return true;
}

// Writes beside the file and renames, so that a failed write leaves the original whole.
bool WriteFileAtomically(const std::string& path, const std::string& bytes, std::string* error) {
  const std::string temp = path + ".vistara-tmp";
  {
    std::ofstream out(temp, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    out.close();
    if (!out) {
      std::remove(temp.c_str());
      *error = "cannot write '" + temp + "'";
      return false;
    }
  }
  std::error_code ec;
  std::filesystem::rename(temp, path, ec);
  if (ec) {
    std::remove(temp.c_str());
    *error = "cannot replace '" + path + "': " + ec.message();
    return false;
  }
  return true;
}

// The "AD" family with a dominant-date prototype of the given bound, then closed: the factory is
// process-wide and closes once, so a command run registers exactly once.
void RegisterFamilies(float coverage_lower_bound) {
  loupe::JpegCommentRegisterFamily(loupe::JpegCommentFamilyAggregatedTileAcquisitionDate(),
                                   new loupe::JpegCommentMessageDominantTileAcquisitionDate(coverage_lower_bound));
  loupe::JpegCommentSetRegistrationClosed();
}

std::string DateText(const loupe::JpegCommentDate& date) {
  std::string text;
  date.AppendToString(&text);
  return text;
}

// A coverage share: a finite number in (0, 1] for the bound, in [0, 1e6] for a weight.
bool ParseShare(const std::string& text, bool is_bound, float* value) {
  if (text.empty()) return false;
  char* end = nullptr;
  errno = 0;
  const double v = std::strtod(text.c_str(), &end);
  if (errno || *end || !std::isfinite(v)) return false;
  if (is_bound ? !(v > 0.0 && v <= 1.0) : !(v >= 0.0 && v <= 1e6)) return false;
  *value = static_cast<float>(v);
  return true;
}

int Dates(Invocation& inv, const std::vector<std::string>& files) {
  if (files.empty()) return inv.Fail("jpeg dates needs at least one FILE");
  int status = 0;
  Json::Value list(Json::arrayValue);
  for (const std::string& path : files) {
    std::string bytes, error;
    std::optional<std::string> comment;
    Json::Value item(Json::objectValue);
    item["file"] = path;
    if (!ReadFile(path, &bytes, &error) || !jpeg::ReadComment(bytes, &comment, &error)) {
      status = 1;
      item["error"] = error;
      if (!inv.json()) inv.out() << "error: " << path << ": " << error << "\n";
      list.append(item);
      continue;
    }
    std::unique_ptr<loupe::JpegCommentDate> date(
        comment ? loupe::JpegCommentAggregatedTileDateIn(comment->c_str()) : nullptr);
    if (date) {
      item["date"] = DateText(*date);
      item["year"] = date->year();
      item["month"] = date->month();
      item["day"] = date->day();
      if (!inv.json()) inv.out() << path << ": " << DateText(*date) << "\n";
    } else {
      item["date"] = Json::Value();
      if (!inv.json()) inv.out() << path << ": no acquisition date\n";
    }
    list.append(item);
  }
  if (inv.json()) {
    Json::Value root(Json::objectValue);
    root["files"] = list;
    inv.PrintJson(root);
  }
  return status;
}

int WriteDates(Invocation& inv, const std::vector<std::string>& files) {
  if (files.size() != 1) return inv.Fail("jpeg write-dates needs exactly one FILE");
  const std::vector<std::string> dates = inv.Options("date");
  if (dates.empty()) return inv.Fail("jpeg write-dates needs at least one --date YYYY:MM:DD=WEIGHT");
  auto date_map = std::make_unique<std::map<unsigned int, float>>();
  for (const std::string& d : dates) {
    const size_t eq = d.find('=');
    const std::string text = d.substr(0, eq);
    float weight = 0;
    if (eq == std::string::npos || !ParseShare(d.substr(eq + 1), false, &weight)) {
      return inv.Fail("--date must be YYYY:MM:DD=WEIGHT with a weight of 0 or more, got '" + d + "'");
    }
    // Strict: the text must read back as itself, so that no part is silently dropped.
    const loupe::JpegCommentDate date(text);
    unsigned int key = 0;
    if (text.size() != 10 || DateText(date) != text ||
        !loupe::JpegCommentDate::YearMonthDayKeyFromInts(date.year(), date.month(), date.day(), &key)) {
      return inv.Fail("not a date of the form YYYY:MM:DD (unknown parts 00): '" + text + "'");
    }
    if (!date_map->emplace(key, weight).second) return inv.Fail("date given twice: '" + text + "'");
  }
  const std::string& path = files[0];
  std::string bytes, error;
  std::optional<std::string> comment;
  if (!ReadFile(path, &bytes, &error) || !jpeg::ReadComment(bytes, &comment, &error)) {
    return inv.Fail(path + ": " + error);
  }

  std::unique_ptr<loupe::JpegCommentOutputBuffer> section(
      loupe::JpegCommentTileAcquisitionDatesOut(date_map.release()));
  if (!section) return inv.Fail("no date covers at least " + inv.Option("bound").value_or("0.5") + " of the tile");

  // Earlier sections go, so that the new date is the one a reader finds; other text stays.
  std::string text = comment.value_or("");
  const std::string header = "*#K0#*";
  for (size_t at = text.find(header); at != std::string::npos; at = text.find(header, at)) {
    const size_t end = text.find(loupe::JpegCommentKestrelTrailer(), at + header.size());
    if (end == std::string::npos) break;
    text.erase(at, end + loupe::JpegCommentKestrelTrailer().size() - at);
  }
  text += section->buffer();
  if (text.size() > 65532) return inv.Fail(path + ": the comment would exceed 65532 bytes");
  // The whole new comment must read back as the date we meant, before the file is touched.
  std::unique_ptr<loupe::JpegCommentDate> meant(loupe::JpegCommentAggregatedTileDateIn(section->buffer().c_str()));
  std::unique_ptr<loupe::JpegCommentDate> written(loupe::JpegCommentAggregatedTileDateIn(text.c_str()));
  const std::string written_text = written ? DateText(*written) : "";
  if (!meant || written_text != DateText(*meant)) {
    return inv.Fail(path + ": the comment's other text would hide the new date");
  }
  std::string out;
  if (!jpeg::ReplaceComment(bytes, text, &out, &error) || !WriteFileAtomically(path, out, &error)) {
    return inv.Fail(path + ": " + error);
  }
  if (inv.json()) {
    Json::Value root(Json::objectValue);
    root["file"] = path;
    root["date"] = written_text;
    root["section"] = section->buffer();
    inv.PrintJson(root);
  } else {
    inv.out() << path << ": wrote " << written_text << " (" << section->buffer() << ")\n";
  }
  return 0;
}

int Comment(Invocation& inv, const std::vector<std::string>& files) {
  if (files.size() != 1) return inv.Fail("jpeg comment needs exactly one FILE");
  std::string bytes, error;
  std::optional<std::string> comment;
  if (!ReadFile(files[0], &bytes, &error) || !jpeg::ReadComment(bytes, &comment, &error)) {
    return inv.Fail(files[0] + ": " + error);
  }
  if (inv.Has("raw")) {
    if (comment) inv.out().write(comment->data(), static_cast<std::streamsize>(comment->size()));
    return 0;
  }
  if (inv.json()) {
    Json::Value root(Json::objectValue);
    root["file"] = files[0];
    root["comment"] = comment ? Json::Value(base::CEscape(*comment)) : Json::Value();
    root["length"] = comment ? static_cast<Json::UInt64>(comment->size()) : 0;
    inv.PrintJson(root);
  } else if (comment) {
    inv.out() << base::CEscape(*comment) << "\n";
  } else {
    inv.out() << "no comment\n";
  }
  return 0;
}

int Run(Invocation& inv) {
  if (!inv.CheckFlags({"date", "bound", "raw"})) return 1;
  if (inv.args().empty()) return inv.Fail("missing operation (dates, write-dates, comment)");
  const std::string op = inv.args()[0];
  float bound = 0.5f;
  if (auto text = inv.Option("bound"); text && !ParseShare(*text, true, &bound)) {
    return inv.Fail("--bound must be a number above 0 and at most 1, got '" + *text + "'");
  }
  RegisterFamilies(bound);
  const std::vector<std::string> files(inv.args().begin() + 1, inv.args().end());
  if (op == "dates") return Dates(inv, files);
  if (op == "write-dates") return WriteDates(inv, files);
  if (op == "comment") return Comment(inv, files);
  return inv.Fail("unknown operation '" + op + "' (dates, write-dates, comment)");
}

const Command kCommand{
    "jpeg",
    "read and write the acquisition date carried in a JPEG tile's comment",
    "Usage: vistara-spatial jpeg dates FILE... [--json]\n"
    "       vistara-spatial jpeg write-dates FILE --date YYYY:MM:DD=WEIGHT... [--bound B] [--json]\n"
    "       vistara-spatial jpeg comment FILE [--raw | --json]\n\n"
    "dates: the aggregated acquisition date of the \"AD\" message in each file's comment, or\n"
    "\"no acquisition date\". A file that can't be read prints an error line; the rest go on.\n\n"
    "write-dates: the tile's dates with the share of the tile each covers (shares that sum to\n"
    "less than 1 leave the rest unknown; more than 1 are scaled down). The date covering the\n"
    "largest share, of equal shares the oldest, is written if it covers at least B (default 0.5)\n"
    "of the tile; otherwise nothing is written and the exit status is 1. The date section is put\n"
    "into the file's comment, replacing an earlier one and keeping other text; the image data is\n"
    "not touched.\n\n"
    "comment: the text of the file's first comment segment, with bytes that are not printable\n"
    "ASCII escaped as in C; --raw writes the bytes as they are.\n",
    {"date", "bound"},
    Run};
const CommandRegistrar kRegistrar(kCommand);

}  // namespace
}  // namespace vistara::cli
