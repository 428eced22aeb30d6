#include "plist/XmlMender.h"

#include "plist/PropertyListTree.h"
#include "plist/XmlPropertyListReader.h"

namespace moxtel {
namespace {

using namespace std::string_literals;

struct Mended {
  std::string text;
  PropertyListOddities oddities;
};

Mended mendedIn(const std::string& text, std::size_t piece) {
  XmlMender mender;
  Mended mended;
  for (std::size_t i = 0; i < text.size(); i += piece)
    mender.feed(std::string_view(text).substr(i, piece), mended.text);
  mender.finish(mended.text);
  mended.oddities = mender.oddities();
  return mended;
}

// However the text is cut into pieces.
Mended mended(const std::string& text) {
  Mended whole = mendedIn(text, text.size() + 1);
  for (const std::size_t piece : {1, 2, 3}) {
    const Mended pieces = mendedIn(text, piece);
    EXPECT_EQ(pieces.text, whole.text) << piece;
    EXPECT_EQ(pieces.oddities.count, whole.oddities.count) << piece;
    EXPECT_EQ(pieces.oddities.first, whole.oddities.first) << piece;
  }
  return whole;
}

// What becomes of a text in an element, with one oddity.
std::string mendedText(const std::string& text, std::uint64_t oddities = 1) {
  const Mended result = mended("<a>" + text + "</a>");
  EXPECT_EQ(result.oddities.count, oddities) << text;
  EXPECT_TRUE(result.text.starts_with("<a>") && result.text.ends_with("</a>")) << result.text;
  return result.text.substr(3, result.text.size() - 7);
}

void expectUnchanged(const std::string& text) {
  const Mended result = mended(text);
  EXPECT_EQ(result.text, text);
  EXPECT_EQ(result.oddities.count, 0U) << text;
}

TEST(XmlMender, leavesWellFormedFilesAsTheyAre) {
  expectUnchanged("");
  expectUnchanged("<plist/>\n");
  expectUnchanged(
      "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n<!DOCTYPE plist PUBLIC \"-//A//DTD '>\" "
      "\"http://example.com/\">\r\n<plist version='1.0>'><!-- a & <b> &#11; - -- --><dict><key>a&amp;b</key>"
      "<string>\u00E9\u20AC\U0001F600\t&#65;&#x1F600;&lt;&gt;&quot;&apos;]] ]></string><![CDATA[& < &#11; "
      "]]]]>"
      "<?x & <?>\n<true /></dict></plist>\n \r\t");
}

TEST(XmlMender, replacesCharactersThatXmlDoesNotAllow) {
  EXPECT_EQ(mendedText("a\vb"), "a\uFFFDb");
  EXPECT_EQ(mendedText("a\0b"s), "a\uFFFDb");
  EXPECT_EQ(mendedText("\xEF\xBF\xBF"), "\uFFFD");
  EXPECT_EQ(mendedText("\xEF\xBF\xBE\x01", 2), "\uFFFD\uFFFD");
  EXPECT_EQ(mendedText("<![CDATA[\v&]]>"), "<![CDATA[\uFFFD&]]>");
  EXPECT_EQ(mendedText("<!--\v&-->"), "<!--\uFFFD&-->");
}

TEST(XmlMender, replacesReferencesToSuchCharacters) {
  for (const char* reference :
       {"&#11;", "&#xB;", "&#0;", "&#xFFFF;", "&#xD800;", "&#1114112;", "&#99999999999999999999;"}) {
    EXPECT_EQ(mendedText("a"s + reference + "b"), "a\uFFFDb") << reference;
  }
}

TEST(XmlMender, replacesBytesThatAreNoUtf8) {
  EXPECT_EQ(mendedText("a\xFFz"), "a\uFFFDz");
  EXPECT_EQ(mendedText("a\xE9z"), "a\uFFFDz");
  EXPECT_EQ(mendedText("a\xE2\x82z"), "a\uFFFDz");
  EXPECT_EQ(mendedText("a\xF0\x9F\x98z"), "a\uFFFDz");
  EXPECT_EQ(mendedText("\xC0\xAF", 2), "\uFFFD\uFFFD");
  EXPECT_EQ(mendedText("\xE0\x80\xAF", 3), "\uFFFD\uFFFD\uFFFD");
  EXPECT_EQ(mendedText("\xF4\x90\x80\x80", 4), "\uFFFD\uFFFD\uFFFD\uFFFD");
  EXPECT_EQ(mendedText("\xE2\xE2\x82\xAC"), "\uFFFD\u20AC");
}

TEST(XmlMender, joinsPairsOfSurrogates) {
  EXPECT_EQ(mendedText("a\xED\xA0\xBD\xED\xB8\x80z"), "a\U0001F600z");
  EXPECT_EQ(mendedText("&#xD83D;&#56832;"), "\U0001F600");
  EXPECT_EQ(mendedText("\xED\xA0\xBDz"), "\uFFFDz");
  EXPECT_EQ(mendedText("\xED\xB8\x80"), "\uFFFD");
  EXPECT_EQ(mendedText("\xED\xA0\xBD"), "\uFFFD");
  EXPECT_EQ(mendedText("\xED\xA0\xBD\xED\xA0\xBD\xED\xB8\x80", 2), "\uFFFD\U0001F600");
}

TEST(XmlMender, escapesWhatBeginsNoReference) {
  EXPECT_EQ(mendedText("Tom & Jerry"), "Tom &amp; Jerry");
  EXPECT_EQ(mendedText("Tom &Jerry;"), "Tom &amp;Jerry;");
  EXPECT_EQ(mendedText("a&b"), "a&amp;b");
  EXPECT_EQ(mendedText("&&amp;"), "&amp;&amp;");
  EXPECT_EQ(mendedText("&"), "&amp;");
  EXPECT_EQ(mendedText("&#;"), "&amp;#;");
  EXPECT_EQ(mendedText("&#x;"), "&amp;#x;");
  EXPECT_EQ(mendedText("&#X41;"), "&amp;#X41;");
  EXPECT_EQ(mendedText("&#6 5;"), "&amp;#6 5;");
  EXPECT_EQ(mendedText("&;"), "&amp;;");
  EXPECT_EQ(mendedText("&a\v;", 2), "&amp;a\uFFFD;");
  EXPECT_EQ(mendedText("&" + std::string(100, 'x') + ";"), "&amp;" + std::string(100, 'x') + ";");
}

TEST(XmlMender, escapesWhatBeginsNoMarkup) {
  EXPECT_EQ(mendedText("I <3 you"), "I &lt;3 you");
  EXPECT_EQ(mendedText("a < b"), "a &lt; b");
  EXPECT_EQ(mendedText("<!"), "&lt;!");
  EXPECT_EQ(mendedText("<![CDATE"), "&lt;![CDATE");
  EXPECT_EQ(mendedText("<<b/>"), "&lt;<b/>");
  EXPECT_EQ(mendedText("<&", 2), "&lt;&amp;");
  EXPECT_EQ(mendedText("]]]>"), "]]]&gt;");
}

TEST(XmlMender, mendsAttributes) {
  EXPECT_EQ(mended("<a b=\"x&y>\v\"/>").text, "<a b=\"x&amp;y>\uFFFD\"/>");
  EXPECT_EQ(mended("<a b='&#11;'></a>x").text, "<a b='\uFFFD'></a>");
}

TEST(XmlMender, dropsWhatFollowsTheEnd) {
  const Mended nul = mended("<a><b/>\n</a>\n\0\0\0"s);
  EXPECT_EQ(nul.text, "<a><b/>\n</a>\n");
  EXPECT_EQ(nul.oddities.count, 1U);
  EXPECT_EQ(nul.oddities.first, 3U);
  EXPECT_EQ(mended("<a/><b>&</b>").text, "<a/>");
  EXPECT_EQ(mended("<a/><b>&</b>").oddities.count, 1U);
  EXPECT_EQ(mended("<a/>\xFF\v<").oddities.count, 1U);
  EXPECT_EQ(mended("<a/> <").oddities.count, 1U);
  EXPECT_EQ(mended("<a/> <!-- c -->").oddities.count, 0U);
  EXPECT_EQ(mended("<a/> <?c?>").oddities.count, 0U);
}

TEST(XmlMender, namesTheLineOfTheFirst) {
  EXPECT_EQ(mended("<a>\n\r\n\r&\n&</a>").oddities.first, 4U);
  EXPECT_EQ(mended("<a>\n\r\n\r&\n&</a>").oddities.count, 2U);
  EXPECT_EQ(mended("<a>\xE2\n</a>").oddities.first, 1U);
}

TEST(XmlMender, keepsTheBytesOfOtherEncodings) {
  expectUnchanged("\xFF\xFE<\0a\0"s);
  expectUnchanged("\0<\0a"s);
  expectUnchanged("<?xml version='1.0' encoding='ISO-8859-1'?><a>\xE9</a>");
  EXPECT_EQ(mended("<?xml version='1.0' encoding='ISO-8859-1'?><a>&\xE9\v</a>").text,
            "<?xml version='1.0' encoding='ISO-8859-1'?><a>&amp;\xE9\uFFFD</a>");
  EXPECT_EQ(mended("<?xml version='1.0' encoding=\"utf-8\"?><a>\xE9</a>").text,
            "<?xml version='1.0' encoding=\"utf-8\"?><a>\uFFFD</a>");
}

TEST(XmlMender, leavesDeclarationsAndWhatFollowsThemAlone) {
  expectUnchanged("<!DOCTYPE a [<!ENTITY b '&#60;'> <!-- ' -->]><a>&b; & </a> x");
}

TEST(XmlMender, mendsAllThatCannotBeReadAsXml) {
  std::string every;
  for (int c = 0; c < 256; ++c) every += static_cast<char>(c);
  every.erase(every.find('<'), 1);
  const std::string text = mended("<plist><string>" + every + "]]>&#11;</string></plist>" + every).text;
  PropertyListTree tree({}, Mutability::Immutable);
  XmlPropertyListReader reader(tree, Strictness::Strict);
  EXPECT_TRUE(reader.feed(text) && reader.finish()) << reader.failure();
  EXPECT_TRUE(tree.take().isString());
}

}  // namespace
}  // namespace moxtel
