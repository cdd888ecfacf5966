// Turns a metadata reply of the panorama service into PanoramaData records.
//
// A reply is one XML document whose root is either `panoramas`, holding `panorama` elements (a
// tile reply), or a single `panorama`. The format is laid out in docs/panorama-metadata.md. The
// parser never reports anything: what is bad is skipped or left at its default, so the caller sees
// fewer records or none. Attributes convert with Qt's rules: a missing attribute reads as the null
// string, and a number that doesn't parse reads as 0 (a link's colour excepted, see the .cc).
//
// Any bytes are safe input. No state: any thread. Records are new, unpublished, and come back
// with one reference held by the RefPtr.
#ifndef VISTARA_SPATIAL_PANORAMA_XML_PARSER_H_
#define VISTARA_SPATIAL_PANORAMA_XML_PARSER_H_

#include <QByteArray>

#include "platform/memory.h"
#include "platform/referent.h"
#include "platform/xml/xml_node.h"
#include "spatial/panorama_data.h"

namespace vistara::spatial {

class PanoramaXMLParser {
 public:
  // Appends to `out` the records of the reply, in document order. Depth and pano maps are decoded
  // only for a reply whose root is `panorama` (a tile reply's records stay without maps).
  static void Parse(const QByteArray& xml, mmvector<RefPtr<PanoramaData>>* out);
  // The record of the `panorama` element `node`; null if it has no `data_properties` child (or
  // isn't a `panorama`). `xml` is the whole reply, read again for the maps.
  static RefPtr<PanoramaData> ParsePanorama(XmlNode* node, const QByteArray& xml);
};

// The annotation of an `annotation` element: `id` and `title` from its attributes; `yaw`, `pitch`
// and `d` from the attributes of its first child element (0 where absent or unreadable).
Annotation ExtractAnnotation(XmlNode* node);

}  // namespace vistara::spatial

#endif  // VISTARA_SPATIAL_PANORAMA_XML_PARSER_H_
