// Tile acquisition dates: the messages that reduce a tile's mosaic of capture dates to one date.
//
// A message holds a map from year-month-day key (see jpeg_comment_date.h) to the share of the
// tile covered by that date, a float. Keys sort by date, so the map's last entry is the newest.
// Finalize() makes the shares sum to 1: a shortfall goes to the unknown date (key 0), an excess
// is divided out. On the wire a message is only its aggregated date in text form, so reading one
// back gives a map with a single entry of full coverage.
//
// Families: "AD" carries the aggregated acquisition date, "AE" is a name reserved for an end
// date. Nothing in this library registers them: a host registers "AD" with a
// JpegCommentMessageDominantTileAcquisitionDate of its chosen bound before closing registration
// (jpeg_comments.h), and only then may the free functions below be used.
//
// Ownership: a message owns its map. Returned dates, iterators and buffers are the caller's to
// delete. Failure: checks report and go on; the free functions return null.
#ifndef VISTARA_COMMON_INTERNAL_JPEG_COMMENTS_DATES_H_
#define VISTARA_COMMON_INTERNAL_JPEG_COMMENTS_DATES_H_

#include <map>
#include <string>

#include "common/internal/jpeg_comment_date.h"
#include "common/internal/jpeg_comments.h"

namespace loupe {

const std::string& JpegCommentFamilyAggregatedTileAcquisitionDate();     // "AD"
const std::string& JpegCommentFamilyAggregatedTileAcquisitionEndDate();  // "AE"

// The coverage of the newest dates: walks `dates_with_weights` from its newest entry back, adding
// weights, and stops at the first entry where the sum reaches `coverage_threshold` (only when the
// threshold is below 1, so that 1 or more always sums everything). Writes the key where the walk
// stopped, or the oldest key when it went through, to `*date` if `date` isn't null and the map
// isn't empty. Returns the sum (0 for an empty map).
float SumMostRecentCoverage(const std::map<unsigned int, float>& dates_with_weights, unsigned int* date,
                            float coverage_threshold);

// Steps through a message's dates from the newest to the oldest. It reads the message's map, so
// the message must outlive it and stay unchanged.
class JpegCommentTileAcquisitionDatesIterator {
 public:
  explicit JpegCommentTileAcquisitionDatesIterator(const std::map<unsigned int, float>* dates_with_weights)
      : dates_with_weights_(dates_with_weights), position_(dates_with_weights->end()) {}
  // The next older date and its weight; false when all have been seen.
  bool Previous(unsigned int* date, float* weight);

 private:
  const std::map<unsigned int, float>* dates_with_weights_;
  std::map<unsigned int, float>::const_iterator position_;
};

class JpegCommentMessageTileAcquisitionDates : public JpegCommentMessage {
 public:
  static constexpr float kFullCoverage = 1.0f;

  JpegCommentMessageTileAcquisitionDates();
  ~JpegCommentMessageTileAcquisitionDates() override;

  // Writes the text form of AggregatedDate(); the message must be finalized.
  void AppendToString(std::string* out) const override;
  // Reads one date in text form (a bad one gives the unknown date) as a map of that date at full
  // coverage, and finalizes. Always true.
  bool FromString(const std::string& body) override;
  // The one date that stands for the tile, for the caller to delete.
  virtual JpegCommentDate* AggregatedDate() const = 0;

  // Makes the weights sum to 1 (see the top of this file); once only.
  void Finalize();
  bool finalized() const { return finalized_; }
  // A new iterator over the finalized map, for the caller to delete.
  JpegCommentTileAcquisitionDatesIterator* CreateIterator() const;

  const std::map<unsigned int, float>& dates_with_weights() const { return *dates_with_weights_; }
  // The map to fill before Finalize().
  std::map<unsigned int, float>* mutable_dates_with_weights() { return dates_with_weights_; }
  // Replaces the map by `dates_with_weights`, which the message then owns; the old one is deleted.
  void set_dates_with_weights(std::map<unsigned int, float>* dates_with_weights);

 protected:
  bool finalized_ = false;
  std::map<unsigned int, float>* dates_with_weights_;  // owned, never null
};

// The aggregated date is the date of largest weight (of equal weights the oldest), or the unknown
// date when even that weight is below `coverage_lower_bound` (a share of the tile, above 0).
class JpegCommentMessageDominantTileAcquisitionDate : public JpegCommentMessageTileAcquisitionDates {
 public:
  explicit JpegCommentMessageDominantTileAcquisitionDate(float coverage_lower_bound);

  JpegCommentMessage* CreateNewMessage() const override;
  JpegCommentDate* AggregatedDate() const override;

  float coverage_lower_bound() const { return coverage_lower_bound_; }

 private:
  float coverage_lower_bound_;
};

// The aggregated date is the most recent date such that it and all newer ones together cover at
// least the bound.
class JpegCommentMessagePercentileTileAcquisitionDate : public JpegCommentMessageTileAcquisitionDates {
 public:
  explicit JpegCommentMessagePercentileTileAcquisitionDate(float coverage_lower_bound);

  JpegCommentMessage* CreateNewMessage() const override;
  // PercentileMostRecentDate(coverage_lower_bound, nullptr).
  JpegCommentDate* AggregatedDate() const override;

  // The newest date at which the coverage summed from the newest reaches `coverage_lower_bound`
  // (above 0, at most 1), for the caller to delete; the sum goes to `*coverage` if not null.
  JpegCommentDate* PercentileMostRecentDate(float coverage_lower_bound, float* coverage) const;

  float coverage_lower_bound() const { return coverage_lower_bound_; }

 private:
  float coverage_lower_bound_;
};

// A finalized section holding the "AD" message made from `date_map` (date key -> share), or null
// when the dominant date is unknown. Takes ownership of `date_map`. The caller deletes the result.
JpegCommentOutputBuffer* JpegCommentTileAcquisitionDatesOut(std::map<unsigned int, float>* date_map);
// The aggregated date of the "AD" message in a comment, for the caller to delete; null when the
// comment has no section or no "AD" message.
JpegCommentDate* JpegCommentAggregatedTileDateIn(const char* encoded_sequence);

}  // namespace loupe

#endif  // VISTARA_COMMON_INTERNAL_JPEG_COMMENTS_DATES_H_
