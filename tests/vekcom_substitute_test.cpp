// The substitute agent library as it is built.

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <optional>

#include "Scratch.h"

namespace {

class VekcomSubstitute : public testing::Test {
 protected:
  VekcomSubstitute()
      : m_library(dlopen(MOXEL_BUILD_DIR "/libvekcom.so.2.0", RTLD_NOW | RTLD_LOCAL)) {}
  ~VekcomSubstitute() override { dlclose(m_library); }

  void SetUp() override { ASSERT_NE(m_library, nullptr) << dlerror(); }

  template <class Function>
  Function* entry(const char* name) {
    void* address = dlsym(m_library, name);
    EXPECT_NE(address, nullptr) << name;
    return reinterpret_cast<Function*>(address);
  }

  int start() {
    int status = 5;
    return entry<int(int, int*)>("VEK_StartComm")(0, &status);
  }
  int stop() { return entry<int()>("VEK_StopComm")(); }
  int getStatus(int& status) { return entry<int(int, int*)>("VEK_GetStatus")(0, &status); }
  int getId(int& id) { return entry<int(int*)>("VEK_GetID")(&id); }
  int communicate(int (&detail)[3]) {
    return entry<int(unsigned long, int, int, void*, void*)>("VEK_Communicate")(7, 0, 12, nullptr,
                                                                                detail);
  }

  Scratch scratch;

 private:
  Environment m_variables[5] = {{"VEKCOM_STATUS", std::nullopt},
                                {"VEKCOM_RESULT", std::nullopt},
                                {"VEKCOM_ID", std::nullopt},
                                {"VEKCOM_DETAIL", std::nullopt},
                                {"VEKCOM_LOG", std::nullopt}};
  void* m_library;
};

TEST_F(VekcomSubstitute, IsInOperationByDefault) {
  int status = 0;
  int id = 0;
  int detail[3] = {1, 2, 3};
  EXPECT_EQ(getStatus(status), 0);
  EXPECT_EQ(status, 32);
  EXPECT_EQ(getId(id), 0);
  EXPECT_EQ(id, 1);
  EXPECT_EQ(start(), 0);
  EXPECT_EQ(stop(), 0);
  EXPECT_EQ(communicate(detail), 0);
  EXPECT_EQ(detail[0] * 100 + detail[1] * 10 + detail[2], 123) << "left alone";
}

TEST_F(VekcomSubstitute, AnswersAsTheEnvironmentSays) {
  const Environment variables[] = {{"VEKCOM_STATUS", "0x10000"},
                                   {"VEKCOM_RESULT", "-79"},
                                   {"VEKCOM_ID", "12345"},
                                   {"VEKCOM_DETAIL", "1,-26,9"}};
  int status = 0;
  int id = 0;
  int detail[3] = {};
  EXPECT_EQ(getStatus(status), -79);
  EXPECT_EQ(status, 0x10000);
  EXPECT_EQ(getId(id), -79);
  EXPECT_EQ(id, 12345);
  EXPECT_EQ(start(), -79);
  EXPECT_EQ(stop(), -79);
  EXPECT_EQ(communicate(detail), -79);
  EXPECT_EQ(detail[0], 1);
  EXPECT_EQ(detail[1], -26);
  EXPECT_EQ(detail[2], 9);
}

TEST_F(VekcomSubstitute, AShortDetailLeavesTheRest) {
  const Environment variable("VEKCOM_DETAIL", "2");
  int detail[3] = {7, 8, 9};
  communicate(detail);
  EXPECT_EQ(detail[0], 2);
  EXPECT_EQ(detail[1], 8);
  EXPECT_EQ(detail[2], 9);
}

TEST_F(VekcomSubstitute, LogsItsCallsWhenAsked) {
  const Environment variable("VEKCOM_LOG", scratch.file("calls"));
  int number = 0;
  int detail[3] = {};
  start();
  getStatus(number);
  getId(number);
  communicate(detail);
  stop();
  EXPECT_EQ(readFile(scratch.file("calls")),
            "VEK_StartComm 0\nVEK_GetStatus 0\nVEK_GetID\nVEK_Communicate 7 0 12\nVEK_StopComm\n");
}

TEST_F(VekcomSubstitute, ALogThatCannotBeWrittenIsNoFailure) {
  const Environment variable("VEKCOM_LOG", scratch.file("missing/calls"));
  int status = 0;
  EXPECT_EQ(getStatus(status), 0);
}

}  // namespace
