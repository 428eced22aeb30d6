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
  EXPECT_EQ(valueOf("<integer>-0x10</integer>"), Value(-16));
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
  EXPECT_EQ(valueOf("<data>QU J*D=junk!!</data>"), valueOf("<data>QUJDjunk</data>"));
  EXPECT_EQ(valueOf("<date>1970-01-01T00:00:00Z</date>"), Value(Date{-978307200}));
  EXPECT_EQ(valueOf("<date>2001-01-01T99:99:99Z</date>"), Value(Date{99 * 3661}));
}

TEST(XmlArchive, readsWithoutHeadAndWithComments) {
  EXPECT_EQ(errorOf(archiveOf("<string>x</string>", "", "<plist>")), "read: x");
  EXPECT_EQ(errorOf(archiveOf("<string>x</string>", "",
                              "\xEF\xBB\xBF<?xml version='1.0'?><!-- a --> <plist\n version='1>0'>")),
            "read: x");
}

TEST(XmlArchive, refusesDeclaredEntities) {
  EXPECT_EQ(errorOf(archiveOf("<string>&a;</string>", "", "<!DOCTYPE plist [<!ENTITY a \"aaaa\">]><plist>")),
            "the XML property list cannot be read: line 1: it declares entities");
}

TEST(XmlArchive, refusesUnknownEntitiesAndCharacters) {
  for (const char* text : {"&nbsp;", "&", "&#0;", "&#xD800;", "&#x110000;", "&#;", "&#-1;", "&amp"}) {
    EXPECT_THAT(errorOf(archiveOf("<string>" + std::string(text) + "</string>")),
                testing::StartsWith("the XML property list cannot be read: line "))
        << text;
  }
}

TEST(XmlArchive, refusesValuesThatCannotBeRead) {
  const auto reasonFor = [](const std::string& leaf) { return errorOf(archiveOf(leaf, "", "<plist>")); };
  const std::string reason = "the XML property list cannot be read: line 1: ";
  for (const char* integer : {"", "x", "1x", "1.5", "18446744073709551616", "-9223372036854775809", "--1",
                              "+-1", "-+1", "0x", "0x-1"}) {
    EXPECT_EQ(reasonFor("<integer>" + std::string(integer) + "</integer>"),
              reason + "an integer cannot be read")
        << integer;
  }
  for (const char* real : {"", "x", "1,5", "1e999", "+-1.5", "0x1p3"}) {
    EXPECT_EQ(reasonFor("<real>" + std::string(real) + "</real>"), reason + "a real cannot be read") << real;
  }
  for (const char* date : {"", "2001-13-01T00:00:00Z", "2001-02-30T00:00:00Z", "2001-01-01T1:00:00Z",
                           "2001-01-01 00:00:00Z", "2001-01--1T00:00:00Z", "2001-01-01T00:00:00.5Z"}) {
    EXPECT_EQ(reasonFor("<date>" + std::string(date) + "</date>"), reason + "a date cannot be read") << date;
  }
  EXPECT_EQ(reasonFor("<true>x</true>"), reason + "a boolean has a text");
  EXPECT_EQ(reasonFor("<odd/>"), reason + "an element is unknown");
  EXPECT_EQ(reasonFor("<string>\xFF</string>"), reason + "not well-formed (invalid token)");
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

TEST(XmlArchive, refusesDeepNesting) {
  std::string xml = "<plist>";
  for (int i = 0; i < 200000; ++i) xml += "<array>";
  EXPECT_EQ(errorOf(xml), "the XML property list cannot be read: line 1: its tags are nested too deeply");
}

TEST(XmlArchive, refusesOtherBytes) {
  for (const char* bytes : {"GET / HTTP/1.0\r\n\r\n", " ", "\xFE\xFF"}) {
    EXPECT_EQ(errorOf(bytes), "the bytes are no property list") << bytes;
  }
}

}  // namespace
}  // namespace moxtel
