// A view of the subtree under one element, for reading texts by path.
#ifndef VISTARA_PLATFORM_XML_XML_TREE_H_
#define VISTARA_PLATFORM_XML_XML_TREE_H_

#include <QString>

#include "platform/xml/xml_node.h"

namespace vistara {

class XmlTree {
 public:
  // `root` is not owned and must outlive the tree; null gives a tree where nothing exists.
  explicit XmlTree(XmlNode* root) : root_(root) {}

  // The character data of the element that `path` reaches from the root (path rules of
  // XmlPathFinder: the first step names the root itself), or the null string if there is none.
  QString GetValue(const QString& path) const;

 private:
  XmlNode* root_;
};

}  // namespace vistara

#endif  // VISTARA_PLATFORM_XML_XML_TREE_H_
