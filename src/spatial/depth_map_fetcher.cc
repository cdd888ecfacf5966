#include "spatial/depth_map_fetcher.h"

#include "spatial/depth_map_xml_parser.h"
#include "spatial/pano_map_xml_parser.h"
#include "spatial/panorama_fetcher.h"
#include "spatial/wayfare_spatial_options.h"

namespace vistara::spatial {

DepthMapFetcher::~DepthMapFetcher() {
  if (net_fetcher_) net_fetcher_->cancel();
  net_fetcher_.reset();
}

void DepthMapFetcher::FetchDepthMap(vistara::Panorama* panorama, PanoramaData* data) {
  if (!data) return;
  panorama_ = panorama;
  data_ = data;
  if (data->depth_map) {
    ready_ = true;
    return;
  }
  if (data->id.isEmpty()) return;
  net::FetchParams params;
  params.url = CreateUrl(data->id).toString();
  params.callback = &DepthMapFinished;
  params.context = this;
  params.seconds_between_requests = MetadataRequestSpacing(WayfareSpatialOptions::s_settings_);
  // An earlier request is cancelled before it is let go: released alone, its late callback would
  // set ready() for the wrong reply, or reach this object after the destructor.
  if (net_fetcher_) net_fetcher_->cancel();
  net_fetcher_ = net::Fetcher::fetch(params, nullptr);
}

void DepthMapFetcher::DepthMapFinished(net::Fetcher& fetcher) {
  DepthMapFetcher* c = static_cast<DepthMapFetcher*>(fetcher.context());
  if (!c) return;  // no fetcher to tell
  const int s = fetcher.status();
  const bool failed = s == net::kStatusCancelled || (s >= net::kStatusHostNotFound && s <= net::kStatusFailed) ||
                      (s >= 400 && s <= 505);
  c->ready_ = !failed && s > 1;
}

void DepthMapFetcher::ProcessDepthMap() {
  if (parse_replies_ && net_fetcher_ && data_) ParseDepthAndPano(net_fetcher_->body(), data_);
  // Without a record there is nothing to ask about: ProcessDepthMap before any FetchDepthMap.
  DepthMapProcessed(panorama_, data_ && data_->depth_map != nullptr);
  Clear();
}

void DepthMapFetcher::Clear() {
  if (net_fetcher_) net_fetcher_->cancel();  // nothing to do once the reply is in
  net_fetcher_.reset();
  ready_ = false;
}

QUrl DepthMapFetcher::CreateUrl(const QString& id) const {
  return WithQueryItems(WayfareSpatialOptions::s_settings_.metaDataFetchServer, {{"output", "xml"},
                                                                                 {"v", "4"},
                                                                                 {"panoid", id},
                                                                                 {"dm", "1"},
                                                                                 {"pm", "1"},
                                                                                 {"ml_client", "vistara"}});
}

void DepthMapFetcher::ParseDepthAndPano(const QByteArray& xml, PanoramaData* data) {
  if (!data->depth_map) data->set_depthmap(DepthMapXMLParser::ParseDepthMap(xml));
  if (!data->pano_map) data->set_panomap(PanoMapXMLParser::ParsePanoMap(xml));
}

}  // namespace vistara::spatial
