#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <list>
#include <map>
#include <string>

#include "CLog.h"
#include "Process.h"
#include "Scratch.h"
#include "common.h"

namespace {

class CommonTime : public LogTest {
 protected:
  // Nine hours east of the meridian.
  CommonTime() : m_zone("TZ", "JST-9") { tzset(); }

 private:
  Environment m_zone;
};

TEST_F(CommonTime, CommasStandBeforeEveryThirdDigit) {
  struct {
    long long value;
    const char* result;
  } const rows[] = {{0, "0"},
                    {9, "9"},
                    {999, "999"},
                    {1000, "1,000"},
                    {12345, "12,345"},
                    {123456, "123,456"},
                    {1234567, "1,234,567"},
                    {-1, "-1"},
                    {-12, "-12"},
                    {-123, "-,123"},
                    {-1234, "-1,234"},
                    {-12345, "-12,345"},
                    {-123456, "-,123,456"},
                    {LLONG_MAX, "9,223,372,036,854,775,807"},
                    {LLONG_MIN, "-9,223,372,036,854,775,808"}};
  for (const auto& row : rows) {
    std::string out = "before";
    const char* characters = commas(row.value, out);
    EXPECT_EQ(characters, out.data());
    EXPECT_EQ(out, row.result);
  }
}

TEST_F(CommonTime, TheCompactFormHasDigitsOnly) {
  struct {
    long time;
    const char* result;
  } const rows[] = {{1, "19700101090001"},
                    {-1, "19700101085959"},
                    {-32401, "19691231235959"},
                    {951782399, "20000229085959"},
                    {1700000000, "20231115071320"}};
  for (const auto& row : rows) {
    std::string out = "before";
    EXPECT_EQ(getTimeStr(out, row.time), row.time);
    EXPECT_EQ(out, row.result);
  }
}

TEST_F(CommonTime, TheDisplayFormHasSeparators) {
  EXPECT_EQ(getTimeStr(1), "1970/01/01 09:00:01");
  EXPECT_EQ(getTimeStr(951782399), "2000/02/29 08:59:59");
  EXPECT_EQ(getTimeStr(1700000000), "2023/11/15 07:13:20");
}

TEST_F(CommonTime, ZeroMeansNow) {
  const long before = time(nullptr);
  std::string compact;
  const long used = getTimeStr(compact, 0);
  const std::string zero = getTimeStr(0);
  const std::string negative = getTimeStr(-1);
  const long after = time(nullptr);
  EXPECT_GE(used, before);
  EXPECT_LE(used, after);

  std::string expected;
  getTimeStr(expected, used);
  EXPECT_EQ(compact, expected);
  EXPECT_GE(zero, getTimeStr(before));
  EXPECT_LE(zero, getTimeStr(after));
  EXPECT_GE(negative, getTimeStr(before));
  EXPECT_LE(negative, getTimeStr(after));
}

TEST_F(CommonTime, TimesWithoutALocalFormAreEmpty) {
  std::string out = "before";
  EXPECT_EQ(getTimeStr(out, LONG_MAX), LONG_MAX);
  EXPECT_EQ(out, "");
  EXPECT_EQ(getTimeStr(LONG_MAX), "");
}

TEST_F(CommonTime, AFilesDateIsThatOfItsLastChange) {
  const std::string file = scratch.file("file");
  writeFile(file, "");
  ASSERT_EQ(symlink("file", scratch.file("link").c_str()), 0);
  struct {
    time_t time;
    const char* result;
  } const rows[] = {
      {1700000000, "2023/11/15 07:13:20"}, {0, "1970/01/01 09:00:00"}, {-1, "1970/01/01 08:59:59"}};
  for (const auto& row : rows) {
    const timespec times[2] = {{1, 0}, {row.time, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, file.c_str(), times, 0), 0);
    std::string out = "before";
    EXPECT_EQ(getFileDate(file, out), 0);
    EXPECT_EQ(out, row.result);
    EXPECT_EQ(getFileDate(scratch.file("link"), out), 0);
    EXPECT_EQ(out, row.result);
  }
  EXPECT_EQ(logged(), Lines{});

  std::string out = "before";
  EXPECT_EQ(getFileDate(scratch.file("missing"), out), -1);
  EXPECT_EQ(out, "");
  EXPECT_EQ(logged(), Lines{"get file date error(" + scratch.file("missing") + ")"});
}

TEST_F(CommonTime, TheCompactFormBecomesTheDisplayForm) {
  char display[21];
  memset(display, 'x', sizeof display);
  EXPECT_EQ(convDate("20231115071320", display), 0);
  EXPECT_STREQ(display, "2023/11/15 07:13:20");
  EXPECT_EQ(display[20], 'x') << "20 bytes are enough";
  convDate("abcdefghijklmnop", display);
  EXPECT_STREQ(display, "abcd/ef/gh ij:kl:mn");
}

TEST_F(CommonTime, ElapsedTimeHasFractions) {
  timespec before = {};
  timespec after = {};
  clock_gettime(CLOCK_REALTIME, &before);
  const double measured = elapsedTime();
  clock_gettime(CLOCK_REALTIME, &after);
  EXPECT_GE(measured, static_cast<double>(before.tv_sec) + before.tv_nsec / 1000 * 1e-6 - 1e-6);
  EXPECT_LE(measured, static_cast<double>(after.tv_sec) + after.tv_nsec * 1e-9 + 1e-6);

  // Parts of a second show.
  EXPECT_TRUE(eventually([] {
    const double first = elapsedTime();
    const double second = elapsedTime();
    return second > first && second < first + 0.5;
  }));
}

TEST_F(CommonTime, WaitsForALine) {
  // The second line is what is left, and a long line takes several calls.
  writeFile(scratch.file("input"), "first\nsecond\n" + std::string(1500, 'x') + "\nlast\n");
  expectInChild([&] {
    ASSERT_NE(freopen(scratch.file("input").c_str(), "r", stdin), nullptr);
    for (const long position : {6, 13, 13 + 1023, 13 + 1501}) {
      EXPECT_EQ(getch(), 0);
      EXPECT_EQ(ftell(stdin), position);
    }
    EXPECT_EQ(getch(), 0);
    EXPECT_EQ(getch(), 0);
    EXPECT_TRUE(feof(stdin));
  });
}

TEST_F(CommonTime, WaitsUntilTheLineIsThere) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const pid_t child = startExpecting([&] {
    close(ends[1]);
    ASSERT_NE(dup2(ends[0], STDIN_FILENO), -1);
    gLog.ilog("started");
    getch();
  });
  close(ends[0]);
  EXPECT_TRUE(eventually([&] { return !logged().empty(); }));
  // A key alone is not enough: it has been read, and the child sleeps again.
  ASSERT_EQ(write(ends[1], "x", 1), 1);
  EXPECT_TRUE(eventually([&] {
    int unread = 1;
    return ioctl(ends[1], FIONREAD, &unread) == 0 && unread == 0 &&
           readFile("/proc/" + std::to_string(child) + "/stat").find(") S ") != std::string::npos;
  }));
  ASSERT_EQ(write(ends[1], "\n", 1), 1);
  EXPECT_EQ(exitCode(waitFor(child)), 0);
  close(ends[1]);
}

TEST_F(CommonTime, ListsAreLogged) {
  std::list<std::string> lines = {"one", "", "100%s"};
  EXPECT_EQ(logList("prefix", lines), 1);
  EXPECT_EQ(logged(), (Lines{"prefix:one", "prefix:", "prefix:100%s"}));
  lines.clear();
  EXPECT_EQ(logList("prefix", lines), 1);
  EXPECT_EQ(logged().size(), 3u);
}

TEST_F(CommonTime, AKeyPassesOnceMoreThanItsLimit) {
  std::map<std::string, int> counts;
  for (const int expected : {1, 1, 1, 0, 0}) EXPECT_EQ(atOnce("k", &counts, 2), expected);
  EXPECT_EQ(counts["k"], 3);
  EXPECT_EQ(atOnce("other", &counts, 0), 1);
  EXPECT_EQ(atOnce("other", &counts, 0), 0);
  EXPECT_EQ(counts["other"], 1);

  EXPECT_EQ(atOnce("never", &counts, -1), 0);
  EXPECT_EQ(counts.count("never"), 1u);
  EXPECT_EQ(counts["never"], 0);
}

// Made before the process counts anything, so that it is destroyed later than what it asks.
struct LateAsker {
  ~LateAsker() {
    if (asks) _exit(atOnce("late", nullptr, 0) == 0 && atOnce("later", nullptr, 0) == 1 ? 0 : 1);
  }
  bool asks = false;
} lateAsker;

TEST_F(CommonTime, TheProcessCountsUntilItEnds) {
  expectInChild([] {
    for (int i = 0; i < 1000; ++i) atOnce("key " + std::to_string(i), nullptr, 0);
    ASSERT_EQ(atOnce("late", nullptr, 0), 1);
    lateAsker.asks = true;
    exit(3);
  });
}

TEST_F(CommonTime, TheProcessCountsWhereTheCallerDoesNot) {
  expectInChild([] {
    for (const int expected : {1, 0, 0}) EXPECT_EQ(atOnce("k", nullptr, 0), expected);
    EXPECT_EQ(atOnce("other", nullptr, 0), 1);
    std::map<std::string, int> counts;
    EXPECT_EQ(atOnce("k", &counts, 0), 1);
  });
}

}  // namespace
