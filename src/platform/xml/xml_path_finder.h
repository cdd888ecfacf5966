// Finds an element by a path of element names separated by "/".
//
// Rules: the first step of a path names the element the search starts from, not a child of it, so
// "panorama/model" from a `panorama` element gives its first `model` child, and from any other
// element gives null. A path with a leading "/" starts instead from the root element of the
// document that the given node belongs to, whose name is then its first step. Each later step
// takes the first child element of that name; there is no backtracking to later children of the
// same name. Names compare exactly. Empty steps (as in "a//b") match nothing.
#ifndef VISTARA_PLATFORM_XML_XML_PATH_FINDER_H_
#define VISTARA_PLATFORM_XML_XML_PATH_FINDER_H_

#include <QString>

#include "platform/xml/xml_node.h"

namespace vistara {

class XmlPathFinder {
 public:
  // The element `path` reaches from `node`, owned by node's reader; null if there is none or if
  // `node` is null.
  XmlNode* Find(XmlNode* node, const QString& path) const;
};

}  // namespace vistara

#endif  // VISTARA_PLATFORM_XML_XML_PATH_FINDER_H_
