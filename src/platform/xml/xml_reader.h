// The host's XML reader: parses a whole document at construction and gives its root element.
//
// Any bytes are safe input. The parse never expands entities declared in a DOCTYPE (the DOCTYPE is
// skipped), keeps memory proportional to the input, and builds, walks and frees the tree without
// recursion, so that a document nested a million levels deep is as safe as a flat one. Text is
// read as UTF-8 (or in the encoding its byte order mark or declaration names).
//
// Failure: GetErrorsOccurred() is true for text that isn't a well-formed document (including one
// without a root element), and then GetRoot() is null.
#ifndef VISTARA_PLATFORM_XML_XML_READER_H_
#define VISTARA_PLATFORM_XML_XML_READER_H_

#include <QByteArray>
#include <deque>
#include <memory>

#include "platform/xml/xml_node.h"

namespace vistara {

class XmlReader {
 public:
  // Parses a copy of `xml`; the caller's bytes are not kept.
  explicit XmlReader(const QByteArray& xml);
  ~XmlReader();
  XmlReader(const XmlReader&) = delete;
  XmlReader& operator=(const XmlReader&) = delete;

  bool GetErrorsOccurred() const { return errors_; }
  // The document's root element; null after errors. Owned by the reader.
  XmlNode* GetRoot() const { return root_; }

 private:
  friend class XmlNode;
  friend class XmlPathFinder;
  // The XmlNode of `node` (an element of this document, or null for null), made here and owned by
  // the reader. Each call makes a new one; callers that may ask twice cache the result.
  XmlNode* MakeNode(pugi::xml_node_struct* node);

  struct Document;
  std::unique_ptr<Document> document_;
  std::deque<XmlNode> nodes_;  // addresses stay put as it grows
  XmlNode* root_ = nullptr;
  bool errors_ = true;
};

}  // namespace vistara

#endif  // VISTARA_PLATFORM_XML_XML_READER_H_
