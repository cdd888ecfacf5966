// Usage logging of the street-level view: SceneStats counts what the user does, PanoramaLogger
// sorts events into two SceneStats by the host's flag and reports the counts to the panorama
// service in small batches.
//
// A report is one GET of
//   http://panoramas.vistara.example/mlk?output=mlrep&ed=EVENTS&ml_client=vistara&v=4&s=RANDOM
// with the items in that order. EVENTS is "67:" and the FormatEvents() of the events flagged
// false, then "68:" and those of the events flagged true, each only if it has a count, joined by
// ",", and percent-encoded: ed=67%3A0%3B3%2C68%3A2%3B5 for "67:0;3,68:2;5". RANDOM is
// System::Random(0, 10000) in base 10. The host is fixed: reports don't follow the setting
// metaDataFetchServer (the network layer's connect-to remap can send them to a loopback server).
//
// A report goes out from an event when the six counts add up to more than 20, or when more than
// 30 seconds have passed since the last report; the first event after construction is reported
// at once. Reports have no callback: a failed one is not noticed, and its counts are gone.
//
// Ownership and threads: the timing source is not owned and must outlive the logger. Neither
// class takes a lock; a logger belongs to the thread that feeds it.
#ifndef VISTARA_SPATIAL_PANORAMA_LOGGER_H_
#define VISTARA_SPATIAL_PANORAMA_LOGGER_H_

#include <QString>
#include <QUrl>

#include "platform/net/fetcher.h"
#include "platform/referent.h"
#include "platform/system.h"

namespace vistara::spatial {

// One set of counters of a street-level view. Angles in radians.
class SceneStats {
 public:
  SceneStats() = default;

  void NewPanoramaEvent() { ++panorama_events_; }
  // Counts a field-of-view change if IsNewFov(fov), storing `fov` as the last field of view; then
  // counts a new viewpoint if IsNewViewpoint(yaw, pitch, fov), storing yaw and pitch. A view that
  // doesn't count leaves the last values in place, so that a slow pan adds up until it has moved
  // half a field of view from the last place counted.
  void NewViewEvent(double yaw, double pitch, double fov);
  // True if `fov` is at least twice the last field of view, or the last at least twice `fov`.
  bool IsNewFov(double fov) const;
  // True if the angle between the last view direction and (yaw, pitch), by the spherical law of
  // cosines, is above fov / 2.
  bool IsNewViewpoint(double yaw, double pitch, double fov) const;
  // "0;V;1;F;2;P": each kind (0 viewpoints, 1 fields of view, 2 panoramas) and its count, only
  // those above 0, all joined by ";". Empty when every count is 0.
  QString FormatEvents() const;
  // Sets the three counts to 0; the last pitch, yaw and field of view stay.
  void ResetCounts();

  int viewpoint_events() const { return viewpoint_events_; }
  int panorama_events() const { return panorama_events_; }
  int fov_events() const { return fov_events_; }
  double last_pitch() const { return last_pitch_; }
  double last_yaw() const { return last_yaw_; }
  double last_fov() const { return last_fov_; }

 private:
  int viewpoint_events_ = 0;
  int panorama_events_ = 0;
  int fov_events_ = 0;
  double last_pitch_ = 0;
  double last_yaw_ = 0;
  double last_fov_ = 1.0471975511965976;  // a sixth of a turn
};

class PanoramaLogger {
 public:
  // The base of every report, a literal of its own: "http://panoramas.vistara.example/mlk".
  static const char kReportUrl[];

  // `timing` gives the time in seconds; null means ITimingSource::GetDefault().
  explicit PanoramaLogger(ITimingSource* timing);
  // Cancels the last report if it is still in flight (its callback, which is none, has then run).
  // The counts are not sent: call ForceSendData() first for that.
  virtual ~PanoramaLogger();
  PanoramaLogger(const PanoramaLogger&) = delete;
  PanoramaLogger& operator=(const PanoramaLogger&) = delete;

  // Counts the event in the first SceneStats if `flag`, else in the second; then reports if
  // ShouldSendData().
  void NewPanoramaEvent(bool flag);
  void NewViewEvent(double yaw, double pitch, double fov, bool flag);
  // True if the six counts add up to more than 20, or more than 30 seconds have passed since the
  // last report.
  bool ShouldSendData() const;
  // SendData() through the virtual table.
  void ForceSendData();
  // Nothing if every count is 0. Otherwise starts a fetch of CreateUrl() (no callback, this
  // logger as context), keeps it in place of the one before (which is let go, not cancelled),
  // sets the counts to 0 and the time of the last report to now.
  virtual void SendData();
  // The report URL of the counts as they stand; a new random `s` each call.
  QUrl CreateUrl() const;

  const SceneStats& flagged_stats() const { return flagged_stats_; }      // events flagged true
  const SceneStats& unflagged_stats() const { return unflagged_stats_; }  // events flagged false
  double last_report_time() const { return last_report_time_; }  // seconds, on the timing source
  const RefPtr<net::Fetcher>& fetcher() const { return fetcher_; }

 private:
  SceneStats flagged_stats_;
  SceneStats unflagged_stats_;
  ITimingSource* timing_;
  double last_report_time_;
  RefPtr<net::Fetcher> fetcher_;
};

}  // namespace vistara::spatial

#endif  // VISTARA_SPATIAL_PANORAMA_LOGGER_H_
