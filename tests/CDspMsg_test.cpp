#include "CDspMsg.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <climits>
#include <cstdarg>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <type_traits>

#include "Memory.h"
#include "Process.h"
#include "ResourceBridge.h"
#include "ResourceBridgeImpGettext.h"
#include "Scratch.h"

namespace {

constexpr const char* kNull = nullptr;

// Texts of the test's own.
struct Texts : ResourceBridge {
  int load(const char* lang, std::string file) override {
    loaded += std::string(lang == nullptr ? "null" : lang) + "," + file + ";";
    return -1;
  }
  const char* getText(int) override { return "by number"; }
  const char* getText(const char* id) override {
    asked = id == nullptr ? "(null)" : id;
    return text.c_str();
  }
  const char* getTextOrg(const char*) override { return original.c_str(); }

  std::string text = "text %d";
  std::string original = "original %d";
  std::string asked;
  std::string loaded;
};

struct Display : CDspMsg {
  using CDspMsg::bridge;
  Display() : texts(new Texts) { bridge = texts; }

  // Variadic callers that hand their arguments on.
  int displayOf(const char* id, ...) {
    va_list args;
    va_start(args, id);
    const int result = display(id, args);
    va_end(args);
    return result;
  }
  int dspMsgOf(const char* id, ...) {
    va_list args;
    va_start(args, id);
    const int result = dspMsg(id, args);
    va_end(args);
    return result;
  }
  int displayDescOf(const char* id, ...) {
    va_list args;
    va_start(args, id);
    const int result = displayDesc(id, args);
    va_end(args);
    return result;
  }
  std::string& retStringOf(std::string& out, const char* id, ...) {
    va_list args;
    va_start(args, id);
    std::string& result = retString(out, id, args);
    va_end(args);
    return result;
  }
  std::string& retStringOrgOf(std::string& out, const char* id, ...) {
    va_list args;
    va_start(args, id);
    std::string& result = retStringOrg(out, id, args);
    va_end(args);
    return result;
  }

  Texts* texts;
};

std::string shown(const std::function<void()>& body) {
  testing::internal::CaptureStdout();
  body();
  fflush(stdout);
  return testing::internal::GetCapturedStdout();
}

TEST(CDspMsg, WarningsAndErrorsShowTheirId) {
  Display display;
  EXPECT_EQ(shown([&] { display.dspMsg("MXL10000I", 1); }), "text 1\n");
  EXPECT_EQ(shown([&] { display.dspMsg("MXL10000L", 1); }), "text 1\n");
  EXPECT_EQ(shown([&] { display.dspMsg("MXL10000W", 1); }), "MXL10000W\ntext 1\n");
  EXPECT_EQ(shown([&] { display.dspMsg("MXL10000E", 1); }), "MXL10000E\ntext 1\n");
  EXPECT_EQ(shown([&] { display.dspMsg("MXL10000w", 1); }), "text 1\n");
  EXPECT_EQ(shown([&] { display.dspMsg("E", 1); }), "E\ntext 1\n");
  EXPECT_EQ(shown([&] { display.dspMsg("100%E", 1); }), "100%E\ntext 1\n");
  EXPECT_EQ(shown([&] { display.dspMsg("", 1); }), "text 1\n");
  EXPECT_EQ(display.texts->asked, "");
}

TEST(CDspMsg, EveryFormOfDisplayShowsTheSame) {
  Display display;
  const std::string expected = "MXL10000E\ntext 7\n";
  EXPECT_EQ(shown([&] { display.displayOf("MXL10000E", 7); }), expected);
  EXPECT_EQ(shown([&] { display.dspMsgOf("MXL10000E", 7); }), expected);
  EXPECT_EQ(shown([&] { display.dspMsg("MXL10000E", 7); }), expected);
  EXPECT_EQ(shown([&] { display.dspMsg(std::string("MXL10000E"), 7); }), expected);
  char id[] = "MXL10000E";
  EXPECT_EQ(shown([&] { display.dspMsg(id, 7); }), expected);
  const std::string constant = id;
  EXPECT_EQ(shown([&] { display.dspMsg(constant, 7); }), expected);
  EXPECT_EQ(display.texts->asked, "MXL10000E");
}

TEST(CDspMsg, DescriptionsNeverShowTheId) {
  Display display;
  EXPECT_EQ(shown([&] { display.displayDescOf("MXL10000E", 7); }), "text 7\n");
  EXPECT_EQ(shown([&] { display.dspMsgBySwitch(false, "MXL10000W", 7); }), "text 7\n");
  EXPECT_EQ(shown([&] { display.dspMsgBySwitch(false, std::string("MXL10000W"), 0); }), "text 0\n");
  EXPECT_EQ(shown([&] { display.dspMsgBySwitch(false, "MXL10000W", 0); }), "text 0\n");
  display.texts->asked.clear();
  EXPECT_EQ(shown([&] { display.dspMsgBySwitch(true, "MXL10000W", 7); }), "");
  EXPECT_EQ(shown([&] { display.dspMsgBySwitch(true, std::string("MXL10000W"), 7); }), "");
  EXPECT_EQ(display.texts->asked, "");
}

TEST(CDspMsg, ALiteralZeroIsAnArgument) {
  Display display;
  std::string out;
  EXPECT_EQ(shown([&] { display.dspMsg("MXL10009W", 0); }), "MXL10009W\ntext 0\n");
  EXPECT_EQ(shown([&] { display.dspMsg(std::string("MXL10009W"), 0); }), "MXL10009W\ntext 0\n");
  display.getStr(out, "MXL10009W", 0);
  EXPECT_EQ(out, "MXL10009W : text 0");
  display.getStr(out, std::string("MXL10009W"), 0);
  EXPECT_EQ(out, "MXL10009W : text 0");
  display.texts->text = "%d %s %d";
  EXPECT_EQ(shown([&] { display.dspMsg("MXL10000I", 0, "x", 0); }), "0 x 0\n");
}

TEST(CDspMsg, ArgumentsArriveUnchanged) {
  Display display;
  std::string out;
  int object = 0;
  display.texts->text = "%ld %p %s %c %lld %.2f %u %%";
  display.getStr(out, "MXL10000I", LONG_MIN, static_cast<void*>(&object), "text", 'c', LLONG_MAX,
                 2.5F, UINT_MAX);
  char expected[256];
  snprintf(expected, sizeof expected, "%ld %p text c %lld 2.50 %u %%", LONG_MIN,
           static_cast<void*>(&object), LLONG_MAX, UINT_MAX);
  EXPECT_EQ(out, expected);

  display.texts->text = "%ld";
  EXPECT_EQ(shown([&] { display.dspMsg("MXL10000I", LONG_MAX); }), std::to_string(LONG_MAX) + "\n");
  EXPECT_EQ(shown([&] { display.dspMsg(std::string("MXL10000I"), LONG_MAX); }),
            std::to_string(LONG_MAX) + "\n");
  display.texts->text = "%p";
  snprintf(expected, sizeof expected, "%p\n", static_cast<void*>(&object));
  EXPECT_EQ(shown([&] { display.dspMsg("MXL10000I", &object); }), expected);
}

TEST(CDspMsg, LongTextsAreShownWholeAndStoredCutAt1023Bytes) {
  Display display;
  display.texts->text = "%s";
  const std::string text(5000, 'x');
  EXPECT_EQ(shown([&] { display.dspMsg("MXL10000E", text.c_str()); }), "MXL10000E\n" + text + "\n");
  std::string out;
  display.getStr(out, "MXL10000E", text.c_str());
  EXPECT_EQ(out, "MXL10000E : " + text.substr(0, 1023));
  display.getStr(out, "MXL10000E", text.substr(0, 1023).c_str());
  EXPECT_EQ(out, "MXL10000E : " + text.substr(0, 1023));
}

TEST(CDspMsg, StringsReplaceWhatWasThere) {
  Display display;
  std::string out = "before";
  EXPECT_EQ(&display.retStringOf(out, "MXL10000E", 5), &out);
  EXPECT_EQ(out, "MXL10000E : text 5");
  EXPECT_EQ(&display.retStringOrgOf(out, "MXL10000W", 6), &out);
  EXPECT_EQ(out, "MXL10000W : original 6");
  EXPECT_EQ(display.getStr(out, "MXL10000I", 7), 0);
  EXPECT_EQ(out, "text 7");
  EXPECT_EQ(display.getStr(out, std::string("MXL10000L"), 8), 0);
  EXPECT_EQ(out, "text 8");
}

TEST(CDspMsg, UnknownAndNullIdsAreEmpty) {
  Display display;
  display.texts->text = "";
  std::string out = "before";
  EXPECT_EQ(shown([&] { display.dspMsg("MXL99999E"); }), "MXL99999E\n\n");
  EXPECT_EQ(shown([&] { display.dspMsg("MXL99999I"); }), "\n");
  EXPECT_EQ(shown([&] { display.dspMsg(kNull); }), "\n");
  display.getStr(out, kNull);
  EXPECT_EQ(out, "");
}

TEST(CDspMsg, TheResultIsThatOfTheLineFeed) {
  Display display;
  EXPECT_EQ(shown([&] { EXPECT_GT(display.dspMsg("MXL10000I", 1), 0); }), "text 1\n");
  expectInChild([&] {
    const int output = dup(STDOUT_FILENO);
    ASSERT_NE(freopen("/dev/full", "w", stdout), nullptr);
    setvbuf(stdout, nullptr, _IONBF, 0);
    const int message = display.dspMsg("MXL10000I", 1);
    const int description = display.displayDescOf("MXL10000I", 1);
    dup2(output, STDOUT_FILENO);
    EXPECT_LT(message, 0);
    EXPECT_LT(description, 0);
  });
}

TEST(CDspMsg, BeforeInitTextsAreEmpty) {
  CDspMsg display;
  std::string out = "before";
  EXPECT_EQ(shown([&] { display.dspMsg("MXL10000E", 1); }), "MXL10000E\n\n");
  display.getStr(out, "MXL10000E", 1);
  EXPECT_EQ(out, "MXL10000E : ");

  struct Forms : CDspMsg {
    std::string original(const char* id, ...) {
      std::string text = "before";
      va_list args;
      va_start(args, id);
      retStringOrg(text, id, args);
      va_end(args);
      return text;
    }
  } forms;
  EXPECT_EQ(forms.original("MXL10000W", 1), "MXL10000W : ");
}

TEST(CDspMsg, InitLoadsTheCompiledInTexts) {
  const Environment language("LC_ALL", "C");
  struct Initialised : CDspMsg {
    using CDspMsg::bridge;
  } display;
  EXPECT_EQ(display.bridge, nullptr);
  // Neither argument counts: there is no such file.
  EXPECT_EQ(display.init("ja", "/nonexistent"), 0);
  EXPECT_NE(dynamic_cast<ResourceBridgeImpGettext*>(display.bridge), nullptr);
  EXPECT_EQ(display.init(nullptr, ""), 0) << "again";

  std::string out;
  EXPECT_EQ(shown([&] { display.dspMsg("MXL10009W", 500); }),
            "MXL10009W\nInformation size of a transmission target exceeds 500KB.\n");
  EXPECT_EQ(shown([&] { display.dspMsg("MXL13000I"); }), "Sent\n");
  EXPECT_EQ(shown([&] { display.dspMsgBySwitch(false, "MXL10009W", 1); }),
            "Information size of a transmission target exceeds 1KB.\n");
  display.getStr(out, "MXL10100E", "x.conf");
  EXPECT_EQ(out, "MXL10100E : Failed to load the moxel conf file(x.conf)");
  EXPECT_EQ(shown([&] { display.dspMsg("MXL99999E"); }), "MXL99999E\n\n");
}

TEST(CDspMsg, WithoutMemoryInitFailsAndDoesNotThrow) {
  CDspMsg display;
  int result = 0;
  {
    const NoMemoryFrom none(1);
    result = display.init(nullptr, "");
  }
  EXPECT_EQ(result, -1);
  EXPECT_EQ(display.init(nullptr, ""), 0) << "the next call works again";
}

TEST(CDspMsg, TheFactoryMakesGettextBridges) {
  const std::unique_ptr<ResourceBridge> one(creatMethod());
  const std::unique_ptr<ResourceBridge> two(creatMethod());
  EXPECT_NE(dynamic_cast<ResourceBridgeImpGettext*>(one.get()), nullptr);
  EXPECT_NE(one, two);
}

TEST(CDspMsg, DestroysItsBridge) {
  struct Watched : Texts {
    explicit Watched(bool& destroyed) : m_destroyed(destroyed) {}
    ~Watched() override { m_destroyed = true; }
    bool& m_destroyed;
  };
  bool destroyed = false;
  {
    Display display;
    delete display.bridge;
    display.bridge = new Watched(destroyed);
  }
  EXPECT_TRUE(destroyed);
}

TEST(CDspMsg, TheProcessHasOneDisplay) {
  expectInChild([] {
    setenv("LC_ALL", "C", 1);
    EXPECT_EQ(gMsg.init(nullptr, ""), 0);
    std::string out;
    gMsg.getStr(out, "MXL13001I");
    EXPECT_EQ(out, "Not sent");
  });
}

TEST(CDspMsg, HasAVirtualDestructor) { EXPECT_TRUE((std::has_virtual_destructor_v<CDspMsg>)); }

}  // namespace
