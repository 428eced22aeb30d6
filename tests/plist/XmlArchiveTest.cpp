#include "plist/KeyedArchive.h"
#include "value/Description.h"

namespace moxtel {
namespace {

std::variant<Value, DecodingError> readXml(const std::string& xml) {
  return unarchivedObject({reinterpret_cast<const std::uint8_t*>(xml.data()), xml.size()});
}

constexpr const char* kHead =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist PUBLIC \"-//Example//DTD PLIST 1.0//EN\" "
    "\"http://example.com/PropertyList-1.0.dtd\">\n<plist version=\"1.0\">\n";

// An archive whose root is that element.
std::string archiveOf(const std::string& root, const std::string& others = "",
                      const std::string& head = kHead) {
  return head +
         "<dict><key>$version</key><integer>100000</integer>"
         "<key>$top</key><dict><key>root</key><dict><key>CF$UID</key><integer>1</integer></dict></dict>"
         "<key>$objects</key><array><string>$null</string>" +
         root + others + "</array></dict></plist>\n";
}

Value valueOf(const std::string& root, const std::string& others = "") {
  auto read = readXml(archiveOf(root, others));
  if (const auto* error = std::get_if<DecodingError>(&read)) {
    ADD_FAILURE() << root << ": " << error->reason;
    return "an error";
  }
  return std::get<Value>(read);
}

std::string errorOf(const std::string& xml) {
  const auto read = readXml(xml);
  const auto* error = std::get_if<DecodingError>(&read);
  return error ? error->reason : "read: " + describe(std::get<Value>(read));
}

TEST(XmlArchive, readsCollectionsThroughUids) {
  const Value value = valueOf(
      "<dict><key>$class</key><dict><key>CF$UID</key><integer>2</integer></dict>"
      "<key>NS.keys</key><array><dict><key>CF$UID</key><integer>3</integer></dict></array>"
      "<key>NS.objects</key><array><dict><key>CF$UID</key><integer>4</integer></dict></array></dict>",
      "<dict><key>$classname</key><string>NSMutableDictionary</string></dict>"
      "<string>command</string><string>Get Albums</string>");
  EXPECT_EQ(value, Value(Dictionary({{"command", "Get Albums"}})));
  EXPECT_TRUE(value.dictionary().isMutable());
}

TEST(XmlArchive, readsNumbers) {
  EXPECT_EQ(valueOf("<integer>42</integer>"), Value(42));
  EXPECT_EQ(valueOf("<integer> -42\n</integer>"), Value(-42));
  EXPECT_EQ(valueOf("<integer>+0x1F</integer>"), Value(31));
  EXPECT_EQ(valueOf("<integer>-9223372036854775808</integer>"), Value(INT64_MIN));
  EXPECT_EQ(valueOf("<integer>18446744073709551615</integer>"), Value(UINT64_MAX));
  EXPECT_EQ(valueOf("<real>1.5e3</real>"), Value(1500.0));
  EXPECT_EQ(valueOf("<real>-inf</real>"), Value(-std::numeric_limits<double>::infinity()));
  EXPECT_EQ(valueOf("<true/>"), Value(true));
  EXPECT_EQ(valueOf("<false></false>"), Value(false));
}

TEST(XmlArchive, readsTexts) {
  EXPECT_EQ(valueOf("<string>a &lt;b&gt; &amp; &quot;c&apos; &#65;&#x1F600;</string>"),
            Value("a <b> & \"c' A\U0001F600"));
  EXPECT_EQ(valueOf("<string>x<![CDATA[<&>]]>y<!-- no text -->z</string>"), Value("x<&>yz"));
  EXPECT_EQ(valueOf("<string/>"), Value(""));
  EXPECT_EQ(valueOf("<string>  kept  </string>"), Value("  kept  "));
}

TEST(XmlArchive, readsDataAndDates) {
  EXPECT_EQ(valueOf("<data>\n\tAQID\n\tBA==\n</data>"), Value(Bytes{1, 2, 3, 4}));
  EXPECT_EQ(valueOf("<data/>"), Value(Bytes()));
  EXPECT_EQ(valueOf("<date>2001-01-02T00:00:01Z</date>"), Value(Date{86401}));
  EXPECT_EQ(valueOf("<date>1970-01-01T00:00:00Z</date>"), Value(Date{-978307200}));
}

TEST(XmlArchive, readsWithoutHeadAndWithComments) {
  EXPECT_EQ(errorOf(archiveOf("<string>x</string>", "", "<plist>")), "read: x");
  EXPECT_EQ(
      errorOf(archiveOf("<string>x</string>", "", "\xEF\xBB\xBF<?xml?><!-- a --> <plist\n version='1>0'>")),
      "read: x");
}

TEST(XmlArchive, refusesDeclaredEntities) {
  EXPECT_EQ(errorOf(archiveOf("<string>&a;</string>", "", "<!DOCTYPE plist [<!ENTITY a \"aaaa\">]><plist>")),
            "the XML property list declares entities");
}

TEST(XmlArchive, refusesUnknownEntitiesAndCharacters) {
  for (const char* text : {"&nbsp;", "&", "&#0;", "&#xD800;", "&#x110000;", "&#;", "&#-1;", "&amp"}) {
    EXPECT_EQ(errorOf(archiveOf("<string>" + std::string(text) + "</string>")),
              "the XML property list has an unknown entity")
        << text;
  }
}

TEST(XmlArchive, refusesValuesThatCannotBeRead) {
  for (const char* integer :
       {"", "x", "1x", "1.5", "18446744073709551616", "-9223372036854775809", "--1", "0x"}) {
    EXPECT_EQ(errorOf(archiveOf("<integer>" + std::string(integer) + "</integer>")),
              "an integer of the XML property list cannot be read")
        << integer;
  }
  for (const char* real : {"", "x", "1,5", "1e999"}) {
    EXPECT_EQ(errorOf(archiveOf("<real>" + std::string(real) + "</real>")),
              "a real of the XML property list cannot be read")
        << real;
  }
  for (const char* date : {"", "2001-13-01T00:00:00Z", "2001-02-30T00:00:00Z", "2001-01-01T24:00:00Z",
                           "2001-01-01 00:00:00Z", "2001-01--1T00:00:00Z"}) {
    EXPECT_EQ(errorOf(archiveOf("<date>" + std::string(date) + "</date>")),
              "a date of the XML property list cannot be read")
        << date;
  }
  for (const char* data : {"A*==", "AQ==AQ"}) {
    EXPECT_EQ(errorOf(archiveOf("<data>" + std::string(data) + "</data>")),
              "data of the XML property list cannot be read")
        << data;
  }
  EXPECT_EQ(errorOf(archiveOf("<string>\xFF</string>")), "a text is no valid UTF-8");
}

TEST(XmlArchive, refusesDamagedStructure) {
  for (const char* element : {"<dict><string>x</string></dict>", "<dict><key>a</key></dict>",
                              "<dict><key>a</key><key>b</key></dict>", "<array></dict>",
                              "<string>x</integer>", "<string><string/></string>", "<key>a</key>", "<odd/>",
                              "</array>", "<array>", "text", "<true>x</true>", "<array<dict>>"}) {
    EXPECT_FALSE(errorOf(archiveOf(element)).starts_with("read:")) << element;
  }
  EXPECT_FALSE(errorOf("<plist></plist>").starts_with("read:"));
  EXPECT_FALSE(errorOf("<plist/>").starts_with("read:"));
  EXPECT_FALSE(errorOf(archiveOf("<string>x</string>") + "more").starts_with("read:"));
}

TEST(XmlArchive, refusesEveryBeginning) {
  const std::string xml = archiveOf("<data>AQID</data>", "<integer>5</integer>");
  for (std::size_t size = 0; size + 1 < xml.size(); ++size) {
    EXPECT_FALSE(errorOf(xml.substr(0, size)).starts_with("read:")) << size;
  }
}

TEST(XmlArchive, survivesDeepNesting) {
  std::string xml = "<plist>";
  for (int i = 0; i < 200000; ++i) xml += "<array>";
  EXPECT_FALSE(errorOf(xml).starts_with("read:"));
  for (int i = 0; i < 200000; ++i) xml += "</array>";
  EXPECT_EQ(errorOf(xml + "</plist>"), "the property list is no dictionary");
}

}  // namespace
}  // namespace moxtel
