// vistara-spatial jpeg: the acquisition date and the comment of JPEG tiles.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>

#include "base/strutil.h"
#include "cli.h"
#include "common/internal/jpeg_comments.h"
#include "common/internal/jpeg_comments_dates.h"
#include "jpeg_file.h"

namespace vistara::cli {
namespace {

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

struct Options {
  std::vector<std::string> files;  // dates
  std::string file;                // write-dates, comment
  std::vector<std::string> dates;
  double bound = 0.5;
  bool raw = false;
};

// The comment of a JPEG file; errors name the file.
bool ReadJpegComment(Io& io, const std::string& path, std::string* bytes, std::optional<std::string>* comment,
                     std::string* error) {
  if (!io.Read(path, bytes, error)) return false;
  if (jpeg::ReadComment(*bytes, comment, error)) return true;
  *error = path + ": " + *error;
  return false;
}

int Dates(Io& io, const Options& o) {
  RegisterFamilies(o.bound);
  for (const std::string& path : o.files) {
    std::string bytes, error;
    std::optional<std::string> comment;
    if (!io.Read(path, &bytes, &error) || !jpeg::ReadComment(bytes, &comment, &error)) {
      io.InputError(path, error);
      continue;
    }
    std::unique_ptr<loupe::JpegCommentDate> date(
        comment ? loupe::JpegCommentAggregatedTileDateIn(comment->c_str()) : nullptr);
    Json::Value item(Json::objectValue);
    item["file"] = path;
    item["date"] = date ? Json::Value(DateText(*date)) : Json::Value();
    if (date) {
      item["year"] = date->year();
      item["month"] = date->month();
      item["day"] = date->day();
    }
    io.PrintLine(item, path + ": " + (date ? DateText(*date) : "no acquisition date"));
  }
  return io.status();
}

// The dates of --date, as the section writer wants them. False and the reason for a bad one.
bool ReadDates(const std::vector<std::string>& dates, std::map<unsigned int, float>* date_map, std::string* error) {
  for (const std::string& d : dates) {
    const size_t eq = d.find('=');
    const std::string text = d.substr(0, eq);
    double weight = 0;
    if (eq == std::string::npos || !ParseNumber(d.substr(eq + 1), {0, 1e6}, &weight, error)) {
      *error = "--date: '" + d + "' is not YYYY:MM:DD=WEIGHT with a weight in 0..1000000";
      return false;
    }
    // Strict: the text must read back as itself, so that no part is silently dropped.
    const loupe::JpegCommentDate date(text);
    unsigned int key = 0;
    if (text.size() != 10 || DateText(date) != text ||
        !loupe::JpegCommentDate::YearMonthDayKeyFromInts(date.year(), date.month(), date.day(), &key)) {
      *error = "--date: '" + text + "' is not a date of the form YYYY:MM:DD (unknown parts 00)";
      return false;
    }
    if (!date_map->emplace(key, static_cast<float>(weight)).second) {
      *error = "--date: '" + text + "' is given twice";
      return false;
    }
  }
  return true;
}

int WriteDates(Io& io, const Options& o) {
  RegisterFamilies(static_cast<float>(o.bound));
  auto date_map = std::make_unique<std::map<unsigned int, float>>();
  std::string bytes, error;
  std::optional<std::string> comment;
  const std::string& path = o.file;
  if (path == "-") return io.Fail("write-dates rewrites FILE in place: give a file, not -");
  if (!ReadDates(o.dates, date_map.get(), &error) || !ReadJpegComment(io, path, &bytes, &comment, &error)) {
    return io.Fail(error);
  }
  std::unique_ptr<loupe::JpegCommentOutputBuffer> section(
      loupe::JpegCommentTileAcquisitionDatesOut(date_map.release()));
  if (!section) {
    char bound[32];
    std::snprintf(bound, sizeof bound, "%g", o.bound);
    return io.Fail(std::string("no date covers at least ") + bound + " of the tile");
  }

  // Earlier sections go, so that the new date is the one a reader finds; other text stays.
  std::string text = comment.value_or("");
  const std::string header = "*#K0#*";
  for (size_t at = text.find(header); at != std::string::npos; at = text.find(header, at)) {
    const size_t end = text.find(loupe::JpegCommentKestrelTrailer(), at + header.size());
    if (end == std::string::npos) break;
    text.erase(at, end + loupe::JpegCommentKestrelTrailer().size() - at);
  }
  text += section->buffer();
  if (text.size() > 65532) return io.Fail(path + ": the comment would exceed 65532 bytes");
  // The whole new comment must read back as the date we meant, before the file is touched.
  std::unique_ptr<loupe::JpegCommentDate> meant(loupe::JpegCommentAggregatedTileDateIn(section->buffer().c_str()));
  std::unique_ptr<loupe::JpegCommentDate> written(loupe::JpegCommentAggregatedTileDateIn(text.c_str()));
  const std::string written_text = written ? DateText(*written) : "";
  if (!meant || written_text != DateText(*meant)) {
    return io.Fail(path + ": the comment's other text would hide the new date");
  }
  std::string out;
  if (!jpeg::ReplaceComment(bytes, text, &out, &error) || !WriteFileAtomically(path, out, &error)) {
    return io.Fail(path + ": " + error);
  }
  Json::Value root(Json::objectValue);
  root["file"] = path;
  root["date"] = written_text;
  root["section"] = section->buffer();
  io.Print(root, path + ": wrote " + written_text + " (" + section->buffer() + ")\n");
  return 0;
}

int Comment(Io& io, const Options& o) {
  if (o.raw && io.json()) return io.Fail("--raw and --json don't go together");
  RegisterFamilies(o.bound);
  std::string bytes, error;
  std::optional<std::string> comment;
  if (!ReadJpegComment(io, o.file, &bytes, &comment, &error)) return io.Fail(error);
  if (o.raw) {
    if (comment) io.out().write(comment->data(), static_cast<std::streamsize>(comment->size()));
    return 0;
  }
  Json::Value root(Json::objectValue);
  root["file"] = o.file;
  root["comment"] = comment ? Json::Value(base::CEscape(*comment)) : Json::Value();
  root["length"] = comment ? static_cast<Json::UInt64>(comment->size()) : 0;
  io.Print(root, comment ? base::CEscape(*comment) + "\n" : "no comment\n");
  return 0;
}

void Declare(CLI::App* command) {
  auto o = std::make_shared<Options>();
  CLI::App* dates = AddOperation(command, "dates", "the acquisition date in each file's comment",
                                 "Prints the aggregated acquisition date of the \"AD\" message in each file's comment,\n"
                                 "or \"no acquisition date\", one line per file.\n");
  AddFiles(dates, "FILE", &o->files, "JPEG files")->required();
  SetRun(dates, [o](Io& io) { return Dates(io, *o); });

  CLI::App* write = AddOperation(
      command, "write-dates", "the dominant acquisition date, written into the file's comment",
      "Takes the tile's dates with the share of the tile each covers (shares that sum to less than 1\n"
      "leave the rest unknown; more than 1 are scaled down). The date covering the largest share, of\n"
      "equal shares the oldest, is written if it covers at least the bound; otherwise nothing is\n"
      "written and the exit status is 1. The date section goes into the file's comment, replacing an\n"
      "earlier one and keeping other text; the image data is not touched.\n");
  AddFile(write, "FILE", &o->file, "the JPEG file, rewritten in place")->required();
  write->add_option("--date", o->dates, "a date and the share of the tile it covers, as 2008:05:17=0.6 (unknown "
                                        "parts 00)")->type_name("YYYY:MM:DD=WEIGHT")->required();
  AddNumber(write, "--bound", &o->bound, {0, 1, true}, "the share the written date must cover (default 0.5)")
      ->type_name("B");
  SetRun(write, [o](Io& io) { return WriteDates(io, *o); });

  CLI::App* comment = AddOperation(command, "comment", "the text of the file's comment",
                                   "Prints the text of the file's first comment segment, with bytes that are not\n"
                                   "printable ASCII escaped as in C.\n");
  AddFile(comment, "FILE", &o->file, "the JPEG file")->required();
  comment->add_flag("--raw", o->raw, "the comment's bytes as they are");
  SetRun(comment, [o](Io& io) { return Comment(io, *o); });
}

const Registrar kRegistrar("jpeg", "the acquisition date carried in a JPEG tile's comment, read and written", "",
                           Declare);

}  // namespace
}  // namespace vistara::cli
