#include <gtest/gtest.h>

#include <string>

#include "expression/Expression.h"

namespace mova {
namespace {

TEST(ExpressionTest, IsFoundAnywhereInALine) {
    const Expression expression("^\\+CSQ: \\d{1,2},(99|[0-7])$");
    EXPECT_TRUE(expression.isIn("+CSQ: 21,99"));
    EXPECT_FALSE(expression.isIn("+CSQ: 21,98"));
    EXPECT_FALSE(expression.isIn("x+CSQ: 21,99"));
    EXPECT_TRUE(Expression("b+").isIn("abbc"));
    EXPECT_TRUE(Expression("(a)(b)\\2\\1").isIn("xabbay"));
    EXPECT_TRUE(Expression("").isIn(""));
}

TEST(ExpressionTest, MindsTheCaseUnlessToldOtherwise) {
    EXPECT_FALSE(Expression("error").isIn("ERROR"));
    EXPECT_TRUE(Expression("error", Expression::Case::Ignored).isIn("ERROR"));
}

TEST(ExpressionTest, TakesBytesOfEveryKind) {
    EXPECT_TRUE(Expression("\\xFF$").isIn("\xFF"));
    EXPECT_FALSE(Expression("a.b").isIn("a\nb"));
    EXPECT_TRUE(Expression("b").isIn(std::string_view("a\0b", 3)));
}

TEST(ExpressionTest, SaysWhatIsNone) {
    for (const char* text : {"(", "[a", "*", "\\"}) EXPECT_THROW(Expression{text}, std::invalid_argument) << text;
    EXPECT_THROW(Expression(std::string(100'000, '(')), std::invalid_argument);
}

// What a recursion over the text would not live through.
TEST(ExpressionTest, ALineMayBeOfAnyLength) {
    const std::string line = std::string(1'000'000, 'A') + "!";
    EXPECT_TRUE(Expression("^(A|B)*!$").isIn(line));
    EXPECT_TRUE(Expression("^.*!$").isIn(line));
    EXPECT_TRUE(Expression("^(?:[A-Z])+!$").isIn(line));
    EXPECT_FALSE(Expression("^[A-Z]*$").isIn(line));
}

TEST(ExpressionTest, GivesUpWhereItWouldNotEnd) {
    EXPECT_THROW(Expression("^(A+)+$").isIn(std::string(1000, 'A') + "!"), Expression::TooComplex);
    EXPECT_THROW(Expression("^(A+)+$").findIn(std::string(1000, 'A') + "!"), Expression::TooComplex);
}

TEST(ExpressionTest, FindsItsFirstGroupOrElseTheWholeMatch) {
    EXPECT_EQ(Expression("CSQ: (\\d+),(\\d+)").findIn("+CSQ: 21,99"), "21");
    EXPECT_EQ(Expression("\\d+").findIn("a 21 b 99"), "21");
    EXPECT_EQ(Expression("a|ab").findIn("ab"), "a");
    EXPECT_EQ(Expression("x(y)?").findIn("x"), "");
    EXPECT_EQ(Expression("\\d").findIn("none"), std::nullopt);
}

}  // namespace
}  // namespace mova
