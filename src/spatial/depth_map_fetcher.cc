#include "spatial/depth_map_fetcher.h"

#include "spatial/depth_map_xml_parser.h"
#include "spatial/pano_map_xml_parser.h"

namespace vistara::spatial {

void DepthMapFetcher::ParseDepthAndPano(const QByteArray& xml, PanoramaData* data) {
  if (!data->depth_map) data->set_depthmap(DepthMapXMLParser::ParseDepthMap(xml));
  if (!data->pano_map) data->set_panomap(PanoMapXMLParser::ParsePanoMap(xml));
}

}  // namespace vistara::spatial
