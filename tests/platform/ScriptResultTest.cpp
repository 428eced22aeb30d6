#include "platform/applications/ScriptResult.h"

#include <gtest/gtest.h>

namespace moxtel {
namespace {

TEST(ScriptResult, nothingAndMissingValueAreNil) {
  EXPECT_TRUE(scriptResultValue("").isNil());
  EXPECT_TRUE(scriptResultValue("\n").isNil());
  EXPECT_TRUE(scriptResultValue("missing value\n").isNil());
}

TEST(ScriptResult, quotedTextLosesItsQuotesAndEscapes) {
  EXPECT_EQ(scriptResultValue("\"a \\\"b\\\" \\\\ c\\nd\"\n"), Value("a \"b\" \\ c\nd"));
  EXPECT_EQ(scriptResultValue("\"\""), Value(""));
}

TEST(ScriptResult, integersStayIntegers) {
  EXPECT_EQ(scriptResultValue("17\n"), Value(17));
  EXPECT_EQ(scriptResultValue("-3"), Value(-3));
}

// AppleScript's integers have 30 bits; larger ones are printed as reals.
TEST(ScriptResult, largeIntegersPrintedAsRealsComeBackAsIntegers) {
  EXPECT_EQ(scriptResultValue("4.294967396E+9"), Value(std::int64_t{4294967396}));
  EXPECT_EQ(scriptResultValue("1.5"), Value(1.5));
}

TEST(ScriptResult, listsNest) {
  EXPECT_EQ(scriptResultValue("{\"a\", \"b\", {1, {}}}\n"),
            Value(Array{"a", "b", Value(Array{1, Value(Array())})}));
  EXPECT_EQ(scriptResultValue("{}"), Value(Array()));
}

TEST(ScriptResult, commasAndBracesInsideQuotesBelongToTheText) {
  EXPECT_EQ(scriptResultValue("{\"a, b\", \"{c}\"}"), Value(Array{"a, b", "{c}"}));
}

TEST(ScriptResult, objectReferencesStayTexts) {
  EXPECT_EQ(scriptResultValue("{album \"x, y\" of application \"iPhoto\", 2}"),
            Value(Array{"album \"x, y\" of application \"iPhoto\"", 2}));
}

TEST(ScriptResult, truncatedTextEndsThere) {
  EXPECT_EQ(scriptResultValue("{\"a\", \"b"), Value(Array{"a", "b"}));
  EXPECT_EQ(scriptResultValue("{1, 2"), Value(Array{1, 2}));
}

TEST(ScriptResult, nestingIsBounded) {
  const Value deep = scriptResultValue(std::string(100000, '{'));
  std::size_t depth = 0;
  for (const Value* v = &deep; v->isArray() && !v->array().empty(); v = &v->array()[0]) ++depth;
  EXPECT_LE(depth, kDeepestScriptList);
}

TEST(ScriptError, numberComesFromTheParenthesesAtTheEnd) {
  const ScriptError error =
      scriptErrorFrom("0:17: execution error: iPhoto got an error: Can’t get album id 5. (-1728)\n", 1);
  EXPECT_EQ(error.number, -1728);
  EXPECT_EQ(error.text, "0:17: execution error: iPhoto got an error: Can’t get album id 5. (-1728)");
  EXPECT_FALSE(error.isSyntaxError);
}

TEST(ScriptError, syntaxErrorsAreReported) {
  EXPECT_TRUE(scriptErrorFrom("0:4: syntax error: Expected end of line. (-2741)", 1).isSyntaxError);
}

TEST(ScriptError, isCutBetweenCharacters) {
  const std::string longest(kLongestScriptErrorText, 'x');
  EXPECT_EQ(scriptErrorText("\n" + longest + "\n"), longest);
  EXPECT_EQ(scriptErrorText(longest + "y"), longest + "…");
  const std::string shorter = longest.substr(2);
  EXPECT_EQ(scriptErrorText(shorter + "ä€"), shorter + "ä…");
  EXPECT_EQ(scriptErrorText(shorter.substr(1) + "ä€"), shorter.substr(1) + "ä…");
  EXPECT_EQ(scriptErrorText(std::string(kLongestScriptErrorText * 2, '\x80')).size(),
            kLongestScriptErrorText);
  const ScriptError error = scriptErrorFrom(longest + longest + " (-1728)", 1);
  EXPECT_EQ(error.text, longest + "…");
  EXPECT_EQ(error.number, -1728) << "the number at the end";
}

TEST(ScriptError, namesTheExitStatusWithoutAMessage) {
  const ScriptError error = scriptErrorFrom("", 7);
  EXPECT_EQ(error.number, 7);
  EXPECT_EQ(error.text, "the interpreter ended with status 7");
}

}  // namespace
}  // namespace moxtel
