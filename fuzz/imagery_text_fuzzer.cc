// Imagery texts: a date parsed from any text writes and parses back as itself, with a key that
// unpacks to it; an octree path that reads converts back to itself below level 31.
#include <cstdint>
#include <string>

#include "common/internal/jpeg_comment_date.h"
#include "common/internal/stratum_tools.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const loupe::JpegCommentDate date(text);
  std::string written;
  date.AppendToString(&written);
  const loupe::JpegCommentDate again(written);
  if (again.year() != date.year() || again.month() != date.month() || again.day() != date.day()) __builtin_trap();
  unsigned key = 0;
  if (!loupe::JpegCommentDate::YearMonthDayKeyFromInts(date.year(), date.month(), date.day(), &key)) __builtin_trap();
  int y, m, d;
  loupe::JpegCommentDate::YearMonthDayKeyAsInts(key, &y, &m, &d);
  if (y != date.year() || m != date.month() || d != date.day()) __builtin_trap();
  if (key) loupe::JpegCommentDate::AdjustUnknownDatePeriodsToEnd(&key);

  int level, row, column, stratum;
  if (!loupe::TraversalPathToLevelRowColumnStratum(text, &level, &row, &column, &stratum)) return 0;
  std::string path;
  const bool back = loupe::LevelRowColumnStratumToTraversalPath(level, row, column, stratum, &path);
  if (back != (level < 31) || (back && path != text)) __builtin_trap();
  return 0;
}
