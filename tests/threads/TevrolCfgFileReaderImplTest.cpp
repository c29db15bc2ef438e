#include "threads/TevrolCfgFileReaderImpl.h"

#include <gtest/gtest.h>

#include "frame/Accessors.h"

namespace {

TEST(TevrolCfgFileReaderImplTest, OnlyTheFirstNameIsEverReadEvenIfMissing) {
  TevrolCfgFileReaderImpl reader;
  EXPECT_TRUE(reader.setConfigFilename("no-such-priority-file.cfg"));
  EXPECT_FALSE(reader.setConfigFilename("ThreadPriorityMapper.cfg"));
  EXPECT_FALSE(reader.setConfigFilename(nullptr));
}

TEST(TevrolCfgFileReaderImplTest, WithoutAGoodFileNothingIsHandedOut) {
  TevrolCfgFileReaderImpl reader;
  Tevrol::Long table[4][8];
  for (auto& row : table)
    for (auto& entry : row) entry = 77;
  EXPECT_EQ(reader.getThreadPrioValue(0, 0), -1);
  EXPECT_FALSE(reader.getThreadPrioTable(table));
  reader.setConfigFilename("no-such-priority-file.cfg");
  EXPECT_EQ(reader.getThreadPrioValue(3, 7), -1);
  EXPECT_FALSE(reader.getThreadPrioTable(table));
  for (auto& row : table)
    for (auto& entry : row) EXPECT_EQ(entry, 77);
}

TEST(TevrolCfgFileReaderImplTest, AccessorGivesOneObject) {
  TevrolCfgFileReader* reader = TevrolCfgFileReader_GetInstance();
  EXPECT_NE(reader, nullptr);
  EXPECT_EQ(reader, TevrolCfgFileReader_GetInstance());
  EXPECT_FALSE(reader->setConfigFilename("ThreadPriorityMapper.cfg") &&
               reader->setConfigFilename("ThreadPriorityMapper.cfg"));
}

}  // namespace
