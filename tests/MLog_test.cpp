#include "MLog.h"

#include <gtest/gtest.h>

#include <functional>
#include <iostream>
#include <sstream>
#include <string>

namespace {

std::string written(const std::function<void()>& body) {
  testing::internal::CaptureStderr();
  body();
  return testing::internal::GetCapturedStderr();
}

TEST(MLog, WritesTheTextAndANewline) {
  MLog log;
  EXPECT_EQ(written([&] { log.LOGDEBUG("state 32"); }), "state 32\n");
  EXPECT_EQ(written([&] { log.LOGDEBUG(std::string("state 33")); }), "state 33\n");
}

TEST(MLog, AnEmptyTextIsANewline) {
  MLog log;
  EXPECT_EQ(written([&] { log.LOGDEBUG(""); }), "\n");
}

TEST(MLog, ANullTextIsANewlineAndTheStreamStaysUsable) {
  MLog log;
  const char* null = nullptr;
  EXPECT_EQ(written([&] {
              log.LOGDEBUG(null);
              log.LOGDEBUG("after");
            }),
            "\nafter\n");
  EXPECT_TRUE(std::cerr.good());
}

TEST(MLog, FlushesEachLine) {
  struct Counter : std::stringbuf {
    int sync() override {
      ++flushes;
      return 0;
    }
    int flushes = 0;
  } counter;
  std::streambuf* const old = std::cerr.rdbuf(&counter);
  std::cerr << std::nounitbuf;
  MLog log;
  log.LOGDEBUG("one");
  EXPECT_EQ(counter.flushes, 1);
  EXPECT_EQ(counter.str(), "one\n");
  std::cerr << std::unitbuf;
  std::cerr.rdbuf(old);
}

TEST(MLog, TheStringFormGoesThroughThePointerForm) {
  struct Recorder : MLog {
    using MLog::LOGDEBUG;
    void LOGDEBUG(const char* text) override { seen += text; }
    std::string seen;
  };
  Recorder recorder;
  EXPECT_EQ(written([&] { recorder.LOGDEBUG(std::string("text")); }), "");
  EXPECT_EQ(recorder.seen, "text");
}

}  // namespace
