#include "names/TevrolNameHandlerImpl.h"

#include <gtest/gtest.h>

#include <thread>

#include "frame/Accessors.h"

namespace {

char const* Text(Tevrol::Word id) {
  return reinterpret_cast<char const*>(id);
}

TEST(TevrolNameHandlerImplTest, EveryNameGetsANewPrefixedId) {
  TevrolNameHandlerImpl handler;
  const Tevrol::Word radio = handler.AddName("Radio");
  const Tevrol::Word again = handler.AddName("Radio");
  EXPECT_NE(radio, again);
  EXPECT_STREQ(Text(radio), "__Radio");
  EXPECT_EQ(handler.GetTevrolId("Radio"), 0u);  // the prefix is part of the text
  const Tevrol::Word found = handler.GetTevrolId("__Radio");
  EXPECT_TRUE(found == radio || found == again);

  const Tevrol::Word null = handler.AddName(nullptr);
  EXPECT_NE(handler.AddName(""), null);
  EXPECT_STREQ(Text(null), "__NULL_Name");
  EXPECT_EQ(handler.GetTevrolId(nullptr), 0u);
}

TEST(TevrolNameHandlerImplTest, MarkingIsForGoodAndKeepsTheId) {
  TevrolNameHandlerImpl handler;
  const Tevrol::Word id = handler.AddName("Tuner");
  EXPECT_FALSE(handler.CheckDeletion(id));
  handler.MarkItemAsDeleted(id);
  handler.MarkItemAsDeleted(id);
  handler.MarkItemAsDeleted(id + 1);  // never given out: ignored
  EXPECT_TRUE(handler.CheckDeletion(id));
  EXPECT_STREQ(Text(id), "d_Tuner");
  EXPECT_EQ(handler.GetTevrolId("d_Tuner"), id);
  EXPECT_EQ(handler.GetTevrolId("__Tuner"), 0u);
}

TEST(TevrolNameHandlerImplTest, CheckDeletionRacesMarkingSafely) {
  TevrolNameHandler* handler = TevrolNameHandler_GetInstance();
  const Tevrol::Word id = handler->AddName("Racer");
  std::thread marker([&] { handler->MarkItemAsDeleted(id); });
  while (!handler->CheckDeletion(id)) {
  }
  marker.join();
  EXPECT_STREQ(Text(id), "d_Racer");
}

}  // namespace
