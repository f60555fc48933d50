#include "CEnvConf.h"

#include <gtest/gtest.h>

namespace {

TEST(CEnvConf, AnEmptyTableAnswersWithEmptyValues) {
  CEnvConf conf;
  std::string value = "before";
  EXPECT_TRUE(conf.getValueString("SysLogFacility", value));
  EXPECT_EQ(value, "");
}

}  // namespace
