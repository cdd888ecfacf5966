#include "platform/xml/xml_reader.h"

#include <gtest/gtest.h>

#include "platform/xml/xml_path_finder.h"
#include "platform/xml/xml_tree.h"

namespace vistara {
namespace {

TEST(XmlReaderTest, PathsAttributesAndText) {
  XmlReader ok(
      "<?xml version=\"1.0\"?><!-- reply --><r a=\"1\" b=\"2\"><x k=\"\" q=\"&lt;v&gt;\">one<![CDATA[ two]]><y/>"
      " three</x><x>second</x>text<z>caf&#233;</z></r>");
  ASSERT_FALSE(ok.GetErrorsOccurred());
  XmlNode* root = ok.GetRoot();
  ASSERT_NE(nullptr, root);
  EXPECT_EQ("r", root->GetName());
  const XmlPathFinder finder;

  // Absolute paths start at the root, named by the first step; relative ones at the node itself.
  EXPECT_EQ(root, finder.Find(root, "/r"));
  EXPECT_EQ(root, finder.Find(root, "r"));
  for (const char* none : {"/x", "x", "", "/", "r//x"}) EXPECT_EQ(nullptr, finder.Find(root, none)) << none;
  EXPECT_EQ(nullptr, finder.Find(nullptr, "r"));
  XmlNode* x = finder.Find(root, "r/x");
  ASSERT_NE(nullptr, x);
  EXPECT_NE(nullptr, finder.Find(x, "x/y"));
  EXPECT_NE(nullptr, finder.Find(x, "/r/x/y"));  // from any node of the document
  EXPECT_EQ(nullptr, finder.Find(x, "r/x"));
  // The first child of a name is taken; the second `x` has no `y` and isn't tried.
  EXPECT_EQ(nullptr, finder.Find(root, "r/x/z"));

  // Text: the element's own character data, CDATA included, without that of child elements.
  EXPECT_EQ("one two three", x->GetText());
  EXPECT_EQ("caf\u00e9", finder.Find(root, "r/z")->GetText());
  EXPECT_FALSE(finder.Find(x, "x/y")->GetText().isNull());

  // Attributes: in order, the first of a name; absent is null, present but empty is not.
  const auto attributes = x->GetAttributes();
  ASSERT_EQ(2u, attributes.size());
  EXPECT_EQ(std::pair(QString("k"), QString("<v>")), std::pair(attributes[0].first, attributes[1].second));
  EXPECT_TRUE(x->GetAttributeValue("k").isEmpty());
  EXPECT_FALSE(x->GetAttributeValue("k").isNull());
  EXPECT_TRUE(x->GetAttributeValue("K").isNull());
  EXPECT_EQ("2", root->GetAttributeValue("b"));

  // Siblings and children are elements only; the same node comes back on a second step.
  XmlNode* first = root->GetFirstChild();
  EXPECT_EQ("x", first->GetName());
  XmlNode* second = first->GetNextSibling();
  EXPECT_EQ("second", second->GetText());
  EXPECT_EQ(second, first->GetNextSibling());
  EXPECT_EQ("z", second->GetNextSibling()->GetName());
  EXPECT_EQ(nullptr, second->GetNextSibling()->GetNextSibling());
  EXPECT_EQ(nullptr, first->GetFirstChild()->GetFirstChild());

  const XmlTree tree(x);
  EXPECT_EQ("one two three", tree.GetValue("x"));
  EXPECT_TRUE(tree.GetValue("x/none").isNull());
  EXPECT_TRUE(XmlTree(nullptr).GetValue("x").isNull());
}

TEST(XmlReaderTest, BadAndHostileDocuments) {
  for (const char* bad : {"", "   ", "<a>", "<a></b>", "text", "<a/><b/>", "<a x=1/>", "<!-- only -->", "\xff\xfe<"}) {
    XmlReader reader(bad);
    EXPECT_TRUE(reader.GetErrorsOccurred()) << bad;
    EXPECT_EQ(nullptr, reader.GetRoot());
  }
  // Declared entities are never expanded, however many they would make.
  QByteArray laughs = "<!DOCTYPE r [<!ENTITY a \"aaaaaaaaaa\">";
  for (int i = 1; i < 10; ++i) {
    laughs += "<!ENTITY " + QByteArray(1, char('a' + i)) + " \"";
    for (int k = 0; k < 10; ++k) laughs += "&" + QByteArray(1, char('a' + i - 1)) + ";";
    laughs += "\">";
  }
  laughs += "]><r>&j;</r>";
  XmlReader reader(laughs);
  ASSERT_FALSE(reader.GetErrorsOccurred());
  EXPECT_EQ("&j;", reader.GetRoot()->GetText());

  // A million levels: build, walk and free without recursion.
  constexpr int kDepth = 1000000;
  XmlReader tower(QByteArray("<a>").repeated(kDepth) + QByteArray("</a>").repeated(kDepth));
  ASSERT_FALSE(tower.GetErrorsOccurred());
  int levels = 0;
  for (XmlNode* n = tower.GetRoot(); n; n = n->GetFirstChild()) ++levels;
  EXPECT_EQ(kDepth, levels);
}

}  // namespace
}  // namespace vistara
