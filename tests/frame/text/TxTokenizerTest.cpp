#include "frame/text/TxTokenizer.h"

#include <gtest/gtest.h>

#include <climits>
#include <iterator>
#include <vector>

#include "frame/text/TextTestSupport.h"

namespace {

std::vector<TxString> Split(TxTokenizer& tokenizer, const char* text, char separator) {
  tokenizer.m_separator = TxChar(separator);
  tokenizer.TokenizeString(TxString(text), TxString::KeepEmptyTokens, true);
  std::vector<TxString> tokens;
  for (Tevrol::Long i = 0; i < tokenizer.m_tokenCount; ++i)
    tokens.push_back(tokenizer.ReturnToken(i));
  return tokens;
}

TEST(TxTokenizerTest, KeepsEmptyTokens) {
  struct Case {
    const char* text;
    char separator;
    std::vector<TxString> tokens;
  };
  const Case cases[] = {
      {"1,,3", ',', {"1", "", "3"}}, {"a:b", ':', {"a", "b"}}, {"a,", ',', {"a", ""}},
      {",", ',', {"", ""}},          {"", ',', {""}},          {"abc", ',', {"abc"}},
      {"a:b,c", ',', {"a:b", "c"}},
  };
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    TxTokenizer tokenizer;
    EXPECT_EQ(Split(tokenizer, cases[i].text, cases[i].separator), cases[i].tokens) << "row " << i;
  }
}

TEST(TxTokenizerTest, SplitsALineAndThenOneOfItsTokens) {
  TxTokenizer tokenizer;
  ASSERT_EQ(Split(tokenizer, "worker:1,2,,4,5,6,7,8", ':').size(), 2u);
  const TxString values = tokenizer.ReturnToken(1);
  tokenizer.InitializeTokenizer();
  const std::vector<TxString> fields = Split(tokenizer, values.ToAscii(), ',');
  ASSERT_EQ(fields.size(), 8u);
  EXPECT_TRUE(fields[2].IsEmpty());
  EXPECT_EQ(fields[7], "8");
}

TEST(TxTokenizerTest, AskingOutsideTheTokensGivesEmptyText) {
  TxTokenizer tokenizer;
  EXPECT_EQ(tokenizer.m_tokenCount, 0);
  EXPECT_TRUE(tokenizer.ReturnToken(0).IsEmpty());
  Split(tokenizer, "a,b", ',');
  for (Tevrol::Long index : {-1, 2, INT_MAX}) EXPECT_TRUE(tokenizer.ReturnToken(index).IsEmpty());
  tokenizer.m_tokenCount = 50;  // a caller may write the public count
  EXPECT_TRUE(tokenizer.ReturnToken(40).IsEmpty());
}

TEST(TxTokenizerTest, InitializeForgetsTokensAndASplitReplacesThem) {
  TxTokenizer tokenizer;
  Split(tokenizer, "a,b,c", ',');
  EXPECT_EQ(Split(tokenizer, "x;y", ';'), (std::vector<TxString>{"x", "y"}));
  tokenizer.InitializeTokenizer();
  EXPECT_EQ(tokenizer.m_tokenCount, 0);
  EXPECT_TRUE(tokenizer.ReturnToken(0).IsEmpty());
  EXPECT_EQ(tokenizer.m_separator, TxChar(';'));
}

}  // namespace
