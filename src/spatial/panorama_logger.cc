#include "spatial/panorama_logger.h"

#include <QStringList>
#include <cmath>

#include "spatial/panorama_fetcher.h"

namespace vistara::spatial {

namespace {

constexpr int kMaxEventsBetweenReports = 20;  // a report goes when the sum is above this
constexpr double kSecondsBetweenReports = 30.0;
// The constructor puts the last report this far back, past the wait, so that the first event is
// reported at once.
constexpr double kFirstReportBackdate = 100.0;

int EventSum(const SceneStats& s) { return s.viewpoint_events() + s.panorama_events() + s.fov_events(); }

}  // namespace

void SceneStats::NewViewEvent(double yaw, double pitch, double fov) {
  if (IsNewFov(fov)) {
    ++fov_events_;
    last_fov_ = fov;
  }
  // Against half of the new field of view, whether or not that counted as a change.
  if (IsNewViewpoint(yaw, pitch, fov)) {
    ++viewpoint_events_;
    last_pitch_ = pitch;
    last_yaw_ = yaw;
  }
}

bool SceneStats::IsNewFov(double fov) const { return fov >= last_fov_ * 2 || last_fov_ >= fov * 2; }

bool SceneStats::IsNewViewpoint(double yaw, double pitch, double fov) const {
  // Rounding can lift the cosine of two equal directions just above 1; acos then gives NaN, which
  // compares false: no move, as for an angle of 0.
  const double angle = std::acos(std::cos(last_yaw_ - yaw) * std::cos(pitch) * std::cos(last_pitch_) +
                                 std::sin(pitch) * std::sin(last_pitch_));
  return angle > fov * 0.5;
}

QString SceneStats::FormatEvents() const {
  QStringList items;
  if (viewpoint_events_ > 0) items << QStringLiteral("0;%1").arg(viewpoint_events_);
  if (fov_events_ > 0) items << QStringLiteral("1;%2").arg(fov_events_);
  if (panorama_events_ > 0) items << QStringLiteral("2;%2").arg(panorama_events_);
  return items.join(QLatin1Char(';'));
}

void SceneStats::ResetCounts() { viewpoint_events_ = panorama_events_ = fov_events_ = 0; }

const char PanoramaLogger::kReportUrl[] = "http://panoramas.vistara.example/mlk";

PanoramaLogger::PanoramaLogger(ITimingSource* timing)
    : timing_(timing ? timing : ITimingSource::GetDefault()),
      last_report_time_(timing_->GetTime() - kFirstReportBackdate) {}

PanoramaLogger::~PanoramaLogger() {
  if (fetcher_) fetcher_->cancel();
}

void PanoramaLogger::NewPanoramaEvent(bool flag) {
  (flag ? flagged_stats_ : unflagged_stats_).NewPanoramaEvent();
  if (ShouldSendData()) SendData();
}

void PanoramaLogger::NewViewEvent(double yaw, double pitch, double fov, bool flag) {
  (flag ? flagged_stats_ : unflagged_stats_).NewViewEvent(yaw, pitch, fov);
  if (ShouldSendData()) SendData();
}

bool PanoramaLogger::ShouldSendData() const {
  return EventSum(flagged_stats_) + EventSum(unflagged_stats_) > kMaxEventsBetweenReports ||
         timing_->GetTime() - last_report_time_ > kSecondsBetweenReports;
}

void PanoramaLogger::ForceSendData() { SendData(); }

void PanoramaLogger::SendData() {
  if (EventSum(flagged_stats_) + EventSum(unflagged_stats_) == 0) return;
  net::FetchParams params;
  params.url = CreateUrl().toString();
  params.context = this;
  fetcher_ = net::Fetcher::fetch(params, nullptr);
  flagged_stats_.ResetCounts();
  unflagged_stats_.ResetCounts();
  last_report_time_ = timing_->GetTime();
}

QUrl PanoramaLogger::CreateUrl() const {
  QStringList events;
  if (EventSum(unflagged_stats_) > 0) events << QStringLiteral("67:") + unflagged_stats_.FormatEvents();
  if (EventSum(flagged_stats_) > 0) events << QStringLiteral("68:") + flagged_stats_.FormatEvents();
  // QUrlQuery would leave ':', ';' and ',' as they are; the report carries them percent-encoded,
  // as QUrl::toPercentEncoding writes them, and QUrlQuery keeps an escape it is given.
  const QString encoded = QString::fromLatin1(QUrl::toPercentEncoding(events.join(QLatin1Char(','))));
  return WithQueryItems(QString::fromLatin1(kReportUrl),
                        {{QStringLiteral("output"), QStringLiteral("mlrep")},
                         {QStringLiteral("ed"), encoded},
                         {QStringLiteral("ml_client"), QString::fromLatin1(PanoramaFetcher::kMLClient)},
                         {QStringLiteral("v"), QString::fromLatin1(PanoramaFetcher::kLoggingVersion)},
                         {QStringLiteral("s"), QString::number(System::Random(0, 10000))}});
}

}  // namespace vistara::spatial
