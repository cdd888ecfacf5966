#include "platform/xml/xml_path_finder.h"

#include <pugixml.hpp>

#include <cstring>

#include "platform/xml/xml_reader.h"
#include "platform/xml/xml_utf8_name.h"
#include "platform/xml/xml_tree.h"

namespace vistara {

XmlNode* XmlPathFinder::Find(XmlNode* node, const QString& path) const {
  if (!node) return nullptr;
  xml_internal::Utf8Name steps(path);
  if (!steps.valid()) return nullptr;
  char* step = steps.data();
  pugi::xml_node current(node->node_);
  if (*step == '/') {
    current = pugi::xml_node(node->reader()->GetRoot()->node_);
    ++step;
  }
  // Cut the path into NUL-terminated steps in place and walk them.
  bool first = true;
  while (true) {
    char* end = std::strchr(step, '/');
    if (end) *end = '\0';
    if (first) {
      if (!xml_internal::SameName(current.name(), step)) return nullptr;
      first = false;
    } else {
      // An empty step would match pugixml's empty name of a text node: it matches nothing here.
      if (*step == '\0') return nullptr;
      pugi::xml_node child = current.first_child();
      while (child && (child.type() != pugi::node_element || !xml_internal::SameName(child.name(), step))) {
        child = child.next_sibling();
      }
      if (!child) return nullptr;
      current = child;
    }
    if (!end) break;
    step = end + 1;
  }
  if (current.internal_object() == node->node_) return node;
  return node->reader()->MakeNode(current.internal_object());
}

QString XmlTree::GetValue(const QString& path) const {
  XmlNode* node = XmlPathFinder().Find(root_, path);
  return node ? node->GetText() : QString();
}

}  // namespace vistara
