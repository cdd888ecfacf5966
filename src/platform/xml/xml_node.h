// One element of a parsed XML document, as the host's XML interface shows it.
//
// An XmlNode belongs to the XmlReader that made it and lives as long as that reader; callers only
// ever hold XmlNode pointers. The tree it shows has elements only: GetFirstChild() and
// GetNextSibling() step over text, CDATA and every other kind of node, and the character data of
// an element is read through GetText(). Nodes are made on first use, so walking a part of a large
// document costs only that part. Not thread-safe: one thread uses a reader and its nodes.
#ifndef VISTARA_PLATFORM_XML_XML_NODE_H_
#define VISTARA_PLATFORM_XML_XML_NODE_H_

#include <QString>
#include <utility>
#include <vector>

namespace pugi {
struct xml_node_struct;
}

namespace vistara {

class XmlReader;

class XmlNode {
 public:
  // Only a reader makes nodes: the key can't be made elsewhere.
  class Key {
    friend class XmlReader;
    Key() = default;
  };
  XmlNode(Key, XmlReader* reader, pugi::xml_node_struct* node) : reader_(reader), node_(node) {}
  XmlNode(const XmlNode&) = delete;
  XmlNode& operator=(const XmlNode&) = delete;

  // The element's name.
  QString GetName() const;
  // The element's character data: its text and CDATA children joined in document order (not
  // those of deeper elements). Empty, not null, when there is none.
  QString GetText() const;
  // The attributes as (name, value) pairs in document order.
  std::vector<std::pair<QString, QString>> GetAttributes() const;
  // The value of the first attribute named exactly `name`, or the null string if there is none.
  // A present but empty attribute gives an empty, non-null string.
  QString GetAttributeValue(const QString& name) const;
  // The same look-up for a UTF-8 name, giving the value's UTF-8 text as parsed (entities
  // expanded), or null if there is none. The text lives as long as the reader.
  const char* GetAttributeUtf8(const char* name) const;
  // The first child element, or null.
  XmlNode* GetFirstChild() const;
  // The next element of the same parent, or null.
  XmlNode* GetNextSibling() const;

  // The reader that owns this node.
  XmlReader* reader() const { return reader_; }

 private:
  friend class XmlPathFinder;

  XmlReader* reader_;
  pugi::xml_node_struct* node_;
  // Made on first request; `*_known_` tells a missing node from one not looked for yet.
  mutable XmlNode* first_child_ = nullptr;
  mutable XmlNode* next_sibling_ = nullptr;
  mutable bool first_child_known_ = false;
  mutable bool next_sibling_known_ = false;
};

}  // namespace vistara

#endif  // VISTARA_PLATFORM_XML_XML_NODE_H_
