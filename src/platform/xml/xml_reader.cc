#include "platform/xml/xml_reader.h"

#include "platform/xml/xml_utf8_name.h"

#include <pugixml.hpp>

#include <cstring>

namespace vistara {

namespace {

// pugixml's default options, spelled out because they matter: no parse_doctype (the DOCTYPE is
// skipped, and pugixml never expands declared entities anyway), no comments or processing
// instructions in the tree, predefined entities and character references expanded, line ends
// normalised. pugixml's parser and its freeing of the document are loops, not recursion.
constexpr unsigned kParseOptions =
    pugi::parse_cdata | pugi::parse_escapes | pugi::parse_wconv_attribute | pugi::parse_eol;

pugi::xml_node_struct* FirstElement(pugi::xml_node n) {
  while (n && n.type() != pugi::node_element) n = n.next_sibling();
  return n.internal_object();
}

QString FromUtf8(const char* text) {
  const size_t size = std::strlen(text);
  // Keep "present but empty" apart from the null string that means "absent".
  if (size == 0) return QString(QLatin1String(""));
  return QString::fromUtf8(text, static_cast<qsizetype>(size));
}

}  // namespace

struct XmlReader::Document {
  pugi::xml_document doc;
};

XmlReader::XmlReader(const QByteArray& xml) : document_(new Document) {
  const pugi::xml_parse_result result =
      document_->doc.load_buffer(xml.constData(), static_cast<size_t>(xml.size()), kParseOptions);
  if (!result) return;
  // pugixml takes a forest of elements at the top (and drops loose text there); a document has
  // exactly one element.
  pugi::xml_node_struct* root = nullptr;
  for (pugi::xml_node n = document_->doc.first_child(); n; n = n.next_sibling()) {
    if (n.type() != pugi::node_element) continue;
    if (root) return;
    root = n.internal_object();
  }
  if (!root) return;
  root_ = MakeNode(root);
  errors_ = false;
}

XmlReader::~XmlReader() = default;

XmlNode* XmlReader::MakeNode(pugi::xml_node_struct* node) {
  if (!node) return nullptr;
  nodes_.emplace_back(XmlNode::Key(), this, node);
  return &nodes_.back();
}

QString XmlNode::GetName() const { return FromUtf8(pugi::xml_node(node_).name()); }

QString XmlNode::GetText() const {
  auto is_text = [](pugi::xml_node n) { return n.type() == pugi::node_pcdata || n.type() == pugi::node_cdata; };
  pugi::xml_node n = pugi::xml_node(node_).first_child();
  while (n && !is_text(n)) n = n.next_sibling();
  if (!n) return QString(QLatin1String(""));
  // The common case, one piece of text, needs no joining.
  QString text = FromUtf8(n.value());
  for (n = n.next_sibling(); n; n = n.next_sibling()) {
    if (is_text(n)) text += QString::fromUtf8(n.value());
  }
  return text;
}

std::vector<std::pair<QString, QString>> XmlNode::GetAttributes() const {
  std::vector<std::pair<QString, QString>> out;
  for (pugi::xml_attribute a = pugi::xml_node(node_).first_attribute(); a; a = a.next_attribute()) {
    out.emplace_back(FromUtf8(a.name()), FromUtf8(a.value()));
  }
  return out;
}

QString XmlNode::GetAttributeValue(const QString& name) const {
  const xml_internal::Utf8Name key(name);
  if (!key.valid()) return QString();
  const char* k = key.c_str();
  for (pugi::xml_attribute a = pugi::xml_node(node_).first_attribute(); a; a = a.next_attribute()) {
    if (xml_internal::SameName(a.name(), k)) return FromUtf8(a.value());
  }
  return QString();
}

const char* XmlNode::GetAttributeUtf8(const char* name) const {
  for (pugi::xml_attribute a = pugi::xml_node(node_).first_attribute(); a; a = a.next_attribute()) {
    if (xml_internal::SameName(a.name(), name)) return a.value();
  }
  return nullptr;
}

XmlNode* XmlNode::GetFirstChild() const {
  if (!first_child_known_) {
    first_child_ = reader_->MakeNode(FirstElement(pugi::xml_node(node_).first_child()));
    first_child_known_ = true;
  }
  return first_child_;
}

XmlNode* XmlNode::GetNextSibling() const {
  if (!next_sibling_known_) {
    next_sibling_ = reader_->MakeNode(FirstElement(pugi::xml_node(node_).next_sibling()));
    next_sibling_known_ = true;
  }
  return next_sibling_;
}

}  // namespace vistara
