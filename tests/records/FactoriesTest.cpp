// The maps from ids to creators.
#include "records/Factories.h"

#include <gtest/gtest.h>

#include "ScriptedPlatform.h"
#include "catalogue/Catalogue.h"

namespace Zel {
namespace {

TEST(RecordFactoryTest, KeepsTheFirstCreatorOfAnId) {
  scripted::platform().reset();
  const std::uint32_t id = 0xFFFFFFFF;
  EXPECT_EQ(RecordFactory::registerFunc(id, &RecordTest1Prov1::create), 0);
  EXPECT_EQ(RecordFactory::registerFunc(id, &RecordTest1Prov3::create), -1);
  EXPECT_EQ(RecordFactory::funcMap().at(id)()->id, RECORD_TEST1PROV1_ID);

  // The maps are apart: an id in one is free in the other.
  EXPECT_EQ(RecordFactory::registerKeysFunc(id, &RecordTest3Stats3::Keys::create), 0);
  EXPECT_EQ(RecordFactory::registerKeysFunc(id, &RecordTest3Stats9::Keys::create), -1);
  EXPECT_EQ(RecordFactory::keysFuncMap().at(id)(true)->id, RECORD_TEST3STATS3_ID);
}

}  // namespace
}  // namespace Zel
