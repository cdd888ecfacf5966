#include "common/internal/jpeg_comments_dates.h"

#include <memory>

#include "base/logging.h"

namespace loupe {
namespace {

JpegCommentDate* NewDateFromKey(unsigned int date) {
  int year, month, day;
  JpegCommentDate::YearMonthDayKeyAsInts(date, &year, &month, &day);
  return new JpegCommentDate(year, month, day);
}

}  // namespace

const std::string& JpegCommentFamilyAggregatedTileAcquisitionDate() {
  static const std::string* const family = new std::string("AD");
  return *family;
}

const std::string& JpegCommentFamilyAggregatedTileAcquisitionEndDate() {
  static const std::string* const family = new std::string("AE");
  return *family;
}

float SumMostRecentCoverage(const std::map<unsigned int, float>& dates_with_weights, unsigned int* date,
                            float coverage_threshold) {
  VS_CHECK_GT(coverage_threshold, 0.0);
  if (dates_with_weights.empty()) return 0.0f;
  float sum = 0.0f;
  auto it = dates_with_weights.end();
  do {
    --it;
    sum += it->second;
    if (coverage_threshold < 1.0f && sum >= coverage_threshold) break;
  } while (it != dates_with_weights.begin());
  if (date) *date = it->first;
  return sum;
}

bool JpegCommentTileAcquisitionDatesIterator::Previous(unsigned int* date, float* weight) {
  if (position_ == dates_with_weights_->begin()) return false;
  --position_;
  if (date) *date = position_->first;
  if (weight) *weight = position_->second;
  return true;
}

JpegCommentMessageTileAcquisitionDates::JpegCommentMessageTileAcquisitionDates()
    : dates_with_weights_(new std::map<unsigned int, float>) {}

JpegCommentMessageTileAcquisitionDates::~JpegCommentMessageTileAcquisitionDates() { delete dates_with_weights_; }

void JpegCommentMessageTileAcquisitionDates::set_dates_with_weights(
    std::map<unsigned int, float>* dates_with_weights) {
  if (!dates_with_weights) return;  // the map is never null
  if (dates_with_weights == dates_with_weights_) return;
  delete dates_with_weights_;
  dates_with_weights_ = dates_with_weights;
}

void JpegCommentMessageTileAcquisitionDates::Finalize() {
  VS_CHECK(!finalized_);
  finalized_ = true;
  const float total = SumMostRecentCoverage(*dates_with_weights_, nullptr, kFullCoverage);
  if (total < 1.0f) {
    // The part of the tile no date covers counts as unknown.
    unsigned int unknown_date = 0;
    VS_CHECK(JpegCommentDate::YearMonthDayKeyFromInts(
        JpegCommentDate::kYearUnknown, JpegCommentDate::kMonthUnknown, JpegCommentDate::kDayUnknown, &unknown_date));
    (*dates_with_weights_)[unknown_date] += 1.0f - total;
  } else {
    VS_CHECK(dates_with_weights_);
    VS_CHECK_GT(total, 0.0);
    for (auto& entry : *dates_with_weights_) entry.second /= total;
  }
}

JpegCommentTileAcquisitionDatesIterator* JpegCommentMessageTileAcquisitionDates::CreateIterator() const {
  VS_CHECK(finalized_);
  return new JpegCommentTileAcquisitionDatesIterator(dates_with_weights_);
}

void JpegCommentMessageTileAcquisitionDates::AppendToString(std::string* out) const {
  VS_CHECK(finalized_);
  std::unique_ptr<JpegCommentDate> date(AggregatedDate());
  if (date && out) date->AppendToString(out);
}

bool JpegCommentMessageTileAcquisitionDates::FromString(const std::string& body) {
  VS_CHECK(!finalized_);
  const JpegCommentDate parsed(body);
  dates_with_weights_->clear();
  unsigned int date = 0;
  VS_CHECK(JpegCommentDate::YearMonthDayKeyFromInts(parsed.year(), parsed.month(), parsed.day(), &date));
  (*dates_with_weights_)[date] = kFullCoverage;
  Finalize();
  return true;
}

JpegCommentMessageDominantTileAcquisitionDate::JpegCommentMessageDominantTileAcquisitionDate(
    float coverage_lower_bound)
    : coverage_lower_bound_(coverage_lower_bound) {
  VS_CHECK_GT(coverage_lower_bound, 0.0);
  VS_CHECK(!finalized());
}

JpegCommentMessage* JpegCommentMessageDominantTileAcquisitionDate::CreateNewMessage() const {
  return new JpegCommentMessageDominantTileAcquisitionDate(coverage_lower_bound_);
}

JpegCommentDate* JpegCommentMessageDominantTileAcquisitionDate::AggregatedDate() const {
  VS_CHECK(finalized());
  float largest = 0.0f;
  unsigned int date = 0;
  for (const auto& entry : *dates_with_weights_) {
    // Strictly larger only: of equal weights the oldest date wins.
    if (entry.second > largest) {
      largest = entry.second;
      date = entry.first;
    }
  }
  if (coverage_lower_bound_ > largest) return new JpegCommentDate();
  return NewDateFromKey(date);
}

JpegCommentMessagePercentileTileAcquisitionDate::JpegCommentMessagePercentileTileAcquisitionDate(
    float coverage_lower_bound)
    : coverage_lower_bound_(coverage_lower_bound) {
  VS_CHECK_GT(coverage_lower_bound, 0.0);
}

JpegCommentMessage* JpegCommentMessagePercentileTileAcquisitionDate::CreateNewMessage() const {
  return new JpegCommentMessagePercentileTileAcquisitionDate(coverage_lower_bound_);
}

JpegCommentDate* JpegCommentMessagePercentileTileAcquisitionDate::AggregatedDate() const {
  return PercentileMostRecentDate(coverage_lower_bound_, nullptr);
}

JpegCommentDate* JpegCommentMessagePercentileTileAcquisitionDate::PercentileMostRecentDate(
    float coverage_lower_bound, float* coverage) const {
  const float maximum_lower_bound = kFullCoverage;
  VS_CHECK_GT(coverage_lower_bound, 0.0);
  VS_CHECK_LE(coverage_lower_bound, maximum_lower_bound);
  VS_CHECK(finalized());
  unsigned int date = 0;
  float sum;  // holds the coverage when the caller doesn't ask for it
  if (!coverage) coverage = &sum;
  *coverage = SumMostRecentCoverage(*dates_with_weights_, &date, coverage_lower_bound);
  VS_CHECK_LE(coverage_lower_bound, *coverage);
  return NewDateFromKey(date);
}

JpegCommentOutputBuffer* JpegCommentTileAcquisitionDatesOut(std::map<unsigned int, float>* date_map) {
  VS_CHECK(date_map);
  if (!date_map) return nullptr;  // nothing to write
  std::unique_ptr<std::map<unsigned int, float>> owned_map(date_map);
  std::unique_ptr<JpegCommentMessageTileAcquisitionDates> message(
      JpegCommentCreateMessage<JpegCommentMessageTileAcquisitionDates>(JpegCommentFamilyAggregatedTileAcquisitionDate()));
  if (!message) return nullptr;  // "AD" isn't registered: the map goes with owned_map
  VS_CHECK(!message->finalized());
  message->set_dates_with_weights(owned_map.release());
  message->Finalize();
  std::unique_ptr<JpegCommentDate> date(message->AggregatedDate());
  VS_CHECK(date.get());
  if (!date || date->year() == JpegCommentDate::kYearUnknown) return nullptr;
  auto* buffer = new JpegCommentOutputBuffer();
  buffer->AppendMessage(*message);
  buffer->Finalize();
  return buffer;
}

JpegCommentDate* JpegCommentAggregatedTileDateIn(const char* encoded_sequence) {
  VS_CHECK(encoded_sequence);
  if (!encoded_sequence) return nullptr;  // no text to read
  JpegCommentInputBuffer input(encoded_sequence);
  if (!input.FindMessages()) return nullptr;
  std::unique_ptr<JpegCommentMessageTileAcquisitionDates> message(
      JpegCommentCreateMessage<JpegCommentMessageTileAcquisitionDates>(JpegCommentFamilyAggregatedTileAcquisitionDate()));
  if (!message) return nullptr;  // "AD" isn't registered
  if (!input.GetMessage(message.get())) return nullptr;
  return message->AggregatedDate();
}

}  // namespace loupe
