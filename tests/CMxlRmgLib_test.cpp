#include "CMxlRmgLib.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstring>
#include <exception>
#include <functional>
#include <iterator>
#include <string>
#include <type_traits>
#include <vector>

#include "CMxlRmgLibImpl.h"
#include "FakeAgent.h"
#include "ICMxlRmg.h"
#include "ICMxlRmgLib.h"
#include "IExtVekError.h"
#include "MLog.h"
#include "Slots.h"

namespace {

using Calls = std::vector<std::string>;

// The client with its protected parts in view.
struct Client : CMxlRmgLib {
  using CMxlRmgLib::m_lastSmtpMsg;
  using CMxlRmgLib::m_machineID;
  using CMxlRmgLib::m_startedCom;
  using CMxlRmgLib::RM_Communicate;
  using CMxlRmgLib::RM_StartComm;
  using CMxlRmgLib::RM_StopComm;
  using CMxlRmgLib::RMG_GetID;
  using CMxlRmgLib::RMG_GetStatus;
};

class CMxlRmgLibClient : public testing::Test {
 protected:
  CMxlRmgLibClient() { fakeAgent = FakeAgent(); }
  ~CMxlRmgLibClient() override { fakeAgent = FakeAgent(); }
};

TEST_F(CMxlRmgLibClient, SlotsStandInTheirOrder) {
  struct View : Client {
    static size_t status() { return slotOf(&View::RMG_GetStatus); }
    static size_t id() { return slotOf(&View::RMG_GetID); }
  };
  EXPECT_EQ(slotOf<void (MLog::*)(std::string)>(&MLog::LOGDEBUG), 2u);
  EXPECT_EQ(slotOf<void (MLog::*)(const char*)>(&MLog::LOGDEBUG), 3u);
  const size_t slots[] = {View::status(),
                          View::id(),
                          slotOf(&CMxlRmgLib::GetStatus),
                          slotOf(&CMxlRmgLib::queryConnection),
                          slotOf(&CMxlRmgLib::isOperate),
                          slotOf(&CMxlRmgLib::isMaintenance),
                          slotOf(&CMxlRmgLib::isStop),
                          slotOf(&CMxlRmgLib::isMaintenanceStop),
                          slotOf(&CMxlRmgLib::getLastStatus),
                          slotOf(&CMxlRmgLib::startCom),
                          slotOf(&CMxlRmgLib::stopCom),
                          slotOf(&CMxlRmgLib::sendNotify),
                          slotOf(&CMxlRmgLib::sendData),
                          slotOf(&CMxlRmgLib::Communicate),
                          slotOf(&CMxlRmgLib::setMailTimeout),
                          slotOf(&CMxlRmgLib::setEnv),
                          slotOf(&CMxlRmgLib::to_s),
                          slotOf(&CMxlRmgLib::GetID),
                          slotOf(&CMxlRmgLib::getMachineID),
                          slotOf(&CMxlRmgLib::html_CheckUrl),
                          slotOf(&CMxlRmgLib::CheckUrl),
                          slotOf(&CMxlRmgLib::getCenterCode),
                          slotOf(&CMxlRmgLib::getFuncEntry)};
  size_t expected = 4;
  for (const size_t slot : slots) EXPECT_EQ(slot, expected++);

  EXPECT_EQ(slotOf(&ICMxlRmg::getFuncEntry), 0u);
  EXPECT_EQ(slotOf(&ICMxlRmgLib::isKardoInstalled), 2u);
  EXPECT_EQ(slotOf(&ICMxlRmgLib::loadLibrary), 3u);
  EXPECT_EQ(slotOf(&ICMxlRmgLib::scenarioLoadLibraries), 4u);
  EXPECT_EQ(slotOf(&ICMxlRmgLib::scenarioUnloadLibraries), 5u);
  EXPECT_EQ(slotOf(&CMxlRmgLib::CMxlRmgLibException::code), 3u);
}

TEST_F(CMxlRmgLibClient, TheClassesHaveTheirBasesInOrder) {
  EXPECT_TRUE((std::is_base_of_v<MLog, CMxlRmgLibImpl>));
  EXPECT_TRUE((std::is_base_of_v<ICMxlRmg, CMxlRmgLibImpl>));
  EXPECT_FALSE((std::is_convertible_v<CMxlRmgLib*, ICMxlRmg*>)) << "the base is private";
  EXPECT_TRUE((std::is_convertible_v<CMxlRmgLib*, MLog*>));
  EXPECT_TRUE((std::is_convertible_v<CMxlRmgLib*, ICMxlRmgLib*>));
  EXPECT_TRUE((std::is_convertible_v<CMxlRmgLib*, IExtVekError*>));
  EXPECT_TRUE((std::is_abstract_v<CMxlRmgLibImpl>));
  EXPECT_FALSE((std::has_virtual_destructor_v<ICMxlRmg>));
  EXPECT_TRUE((std::has_virtual_destructor_v<CMxlRmgLib>));
  EXPECT_TRUE(
      (std::is_base_of_v<CMxlRmgLib::CMxlRmgLibException, CMxlRmgLib::FailRM_StartCommException>));
  EXPECT_TRUE((std::is_base_of_v<std::exception, CMxlRmgLib::CMxlRmgLibException>));

  // The bases stand in their order.
  CMxlRmgLib client;
  const auto address = [](auto* base) { return reinterpret_cast<const char*>(base); };
  EXPECT_EQ(address(static_cast<MLog*>(&client)), address(&client));
  EXPECT_LT(address(&client), address(static_cast<ICMxlRmgLib*>(&client)));
  EXPECT_LT(address(static_cast<ICMxlRmgLib*>(&client)),
            address(static_cast<IExtVekError*>(&client)));
}

TEST_F(CMxlRmgLibClient, AFreshClientHasAskedNothing) {
  Client client;
  EXPECT_TRUE(fakeAgent.calls.empty());
  EXPECT_EQ(client.getLastStatus(), 0);
  EXPECT_FALSE(client.m_startedCom);
  EXPECT_EQ(sizeof client.m_machineID, 4096u);
  for (const char byte : client.m_machineID) ASSERT_EQ(byte, 0);
  EXPECT_EQ(client.getLastRMErrCode(), 0);
  EXPECT_EQ(client.to_s(),
            "\n"
            "    m_machineID       = \n"
            "    m_lastStatus      = 0\n"
            "    m_startedCom      = false\n");
}

TEST_F(CMxlRmgLibClient, DumpShowsTheState) {
  Client client;
  fakeAgent.id = 12345;
  fakeAgent.status = -7;
  client.getMachineID();
  client.isOperate();
  client.startCom();
  EXPECT_EQ(client.to_s(),
            "\n"
            "    m_machineID       = 12345\n"
            "    m_lastStatus      = -7\n"
            "    m_startedCom      = true\n");
  memset(client.m_machineID, 'x', sizeof client.m_machineID);
  EXPECT_EQ(client.to_s().find("\n    m_lastStatus"),
            strlen("\n    m_machineID       = ") + sizeof client.m_machineID);
}

TEST_F(CMxlRmgLibClient, StatusQuestionsCompareTheWholeWord) {
  struct {
    int word;
    bool operate, maintenance, stop, maintenanceStop;
  } const rows[] = {
      {0x20, true, false, false, false},     {0x10000, false, true, false, false},
      {0x20000, false, false, true, false},  {0x30000, false, false, false, true},
      {0, false, false, false, false},       {0x21, false, false, false, false},
      {0x10020, false, false, false, false}, {-1, false, false, false, false},
  };
  for (const auto& row : rows) {
    fakeAgent.status = row.word;
    CMxlRmgLib client;
    EXPECT_EQ(client.isOperate(), row.operate) << row.word;
    EXPECT_EQ(client.isMaintenance(), row.maintenance) << row.word;
    EXPECT_EQ(client.isStop(), row.stop) << row.word;
    EXPECT_EQ(client.isMaintenanceStop(), row.maintenanceStop) << row.word;
    EXPECT_EQ(client.getLastStatus(), row.word);
  }
  EXPECT_EQ(fakeAgent.calls.front(), "GetStatus 0 0");
  EXPECT_EQ(fakeAgent.calls.size(), 4 * std::size(rows));
}

TEST_F(CMxlRmgLibClient, AFailedQueryAnswersFalseAndKeepsTheWord) {
  fakeAgent.result = -3;
  CMxlRmgLib client;
  for (const int word : {0x20, 0x10000, 0x20000, 0x30000}) {
    fakeAgent.status = word;
    EXPECT_FALSE(client.isOperate());
    EXPECT_FALSE(client.isMaintenance());
    EXPECT_FALSE(client.isStop());
    EXPECT_FALSE(client.isMaintenanceStop());
    EXPECT_EQ(client.getLastStatus(), word);
  }
  int status = 5;
  EXPECT_EQ(client.GetStatus(status), -3);
  EXPECT_EQ(status, 0x30000);
  EXPECT_FALSE(client.queryConnection(status));
  EXPECT_EQ(fakeAgent.calls[fakeAgent.calls.size() - 2], "GetStatus 0 5");
}

TEST_F(CMxlRmgLibClient, MachineIdIsDecimalText) {
  Client client;
  fakeAgent.id = 12345;
  EXPECT_STREQ(client.getMachineID(), "12345");
  EXPECT_EQ(client.getMachineID(), client.m_machineID);
  EXPECT_EQ(fakeAgent.calls.front(), "GetID 0");

  fakeAgent.id = -9;
  EXPECT_STREQ(client.getMachineID(), "-9");
  for (size_t i = 2; i < sizeof client.m_machineID; ++i) ASSERT_EQ(client.m_machineID[i], 0);
}

TEST_F(CMxlRmgLibClient, MachineIdOfAFailedCallIsWhatTheAgentLeft) {
  CMxlRmgLib client;
  fakeAgent.result = 5;
  fakeAgent.id = 77;
  EXPECT_STREQ(client.getMachineID(), "77");
  fakeAgent.writesId = false;
  EXPECT_STREQ(client.getMachineID(), "0");
}

TEST_F(CMxlRmgLibClient, IdGoesToTheCallersBufferIfThereIsOne) {
  CMxlRmgLib client;
  fakeAgent.id = 31;
  fakeAgent.result = 6;
  char buffer[4096] = "before";
  EXPECT_EQ(client.GetID(buffer), 6);
  EXPECT_STREQ(buffer, "31");
  EXPECT_EQ(client.GetID(nullptr), 6);
}

TEST_F(CMxlRmgLibClient, RawCallsPassArgumentsAndResults) {
  Client client;
  fakeAgent.result = 8;
  int status = 3;
  EXPECT_EQ(client.RM_StartComm(status), 8);
  EXPECT_EQ(client.RM_StopComm(), 8);
  int detail[3] = {1, 2, 3};
  char data[] = "data";
  EXPECT_EQ(client.RM_Communicate(7, 8, 9, data, detail), 8);
  EXPECT_EQ(client.RMG_GetStatus(status), 8);
  EXPECT_EQ(fakeAgent.calls, (Calls{"StartComm 0 3", "StopComm",
                                    "Communicate 7 8 9 data detail 1 2 3", "GetStatus 0 3"}));
}

TEST_F(CMxlRmgLibClient, StartedCommunicationIsStoppedOnce) {
  {
    CMxlRmgLib client;
    EXPECT_EQ(client.startCom(), 0);
  }
  EXPECT_EQ(fakeAgent.calls, (Calls{"StartComm 0 0", "StopComm"}));

  fakeAgent.calls.clear();
  {
    CMxlRmgLib client;
    client.startCom();
    EXPECT_EQ(client.stopCom(), 0);
  }
  EXPECT_EQ(fakeAgent.calls, (Calls{"StartComm 0 0", "StopComm"}));

  fakeAgent.calls.clear();
  {
    CMxlRmgLib untouched;
  }
  EXPECT_TRUE(fakeAgent.calls.empty());
}

TEST_F(CMxlRmgLibClient, AFailedStopCountsAsStopped) {
  Client client;
  client.startCom();
  fakeAgent.result = 4;
  EXPECT_EQ(client.stopCom(), 4);
  EXPECT_FALSE(client.m_startedCom);
}

TEST_F(CMxlRmgLibClient, ARefusedStartThrows) {
  {
    Client client;
    fakeAgent.result = 7;
    try {
      client.startCom();
      FAIL() << "no exception";
    } catch (const CMxlRmgLib::CMxlRmgLibException& e) {
      EXPECT_EQ(e.code(), 7);
      EXPECT_STREQ(e.what(), "FailRM_StartCommException");
      EXPECT_NE(dynamic_cast<const CMxlRmgLib::FailRM_StartCommException*>(&e), nullptr);
    }
    EXPECT_FALSE(client.m_startedCom);
  }
  EXPECT_EQ(fakeAgent.calls, (Calls{"StartComm 0 0"}));
}

TEST_F(CMxlRmgLibClient, ARefusedSecondStartLeavesCommunicationStarted) {
  {
    CMxlRmgLib client;
    client.startCom();
    fakeAgent.result = 7;
    EXPECT_THROW(client.startCom(), CMxlRmgLib::FailRM_StartCommException);
  }
  EXPECT_EQ(fakeAgent.calls, (Calls{"StartComm 0 0", "StartComm 0 0", "StopComm"}));
}

TEST_F(CMxlRmgLibClient, TheBaseExceptionHasTheStandardText) {
  const CMxlRmgLib::CMxlRmgLibException e(3);
  EXPECT_STREQ(e.what(), std::exception().what());
  EXPECT_EQ(e.code(), 3);
}

TEST_F(CMxlRmgLibClient, OnlyTheStartFailureMayLeaveStartCom) {
  CMxlRmgLib client;
  fakeAgent.before = [] { throw CMxlRmgLib::FailRM_StartCommException(9); };
  EXPECT_THROW(client.startCom(), CMxlRmgLib::FailRM_StartCommException);

  const std::function<void()> others[] = {[] { throw CMxlRmgLib::CMxlRmgLibException(9); },
                                          [] { throw 9; }, [] { throw std::bad_alloc(); }};
  for (const auto& other : others) {
    fakeAgent.before = other;
    EXPECT_EXIT(client.startCom(), testing::KilledBySignal(SIGABRT), "terminate");
  }
}

TEST_F(CMxlRmgLibClient, NothingMayLeaveTheDestructor) {
  EXPECT_EXIT(
      {
        CMxlRmgLib client;
        client.startCom();
        fakeAgent.before = [] { throw 1; };
      },
      testing::KilledBySignal(SIGABRT), "terminate");
}

TEST_F(CMxlRmgLibClient, AnythingMayLeaveTheOtherCalls) {
  CMxlRmgLib client;
  fakeAgent.before = [] { throw 42; };
  EXPECT_THROW(client.isOperate(), int);
  EXPECT_THROW(client.stopCom(), int);
  EXPECT_THROW(client.getMachineID(), int);
  EXPECT_THROW(client.Communicate(1, 0, 0, nullptr), int);
}

TEST_F(CMxlRmgLibClient, ExchangeFillsTheErrorRecord) {
  Client client;
  client.setData({"1", "2", "3", "old message"});
  fakeAgent.result = -79;
  fakeAgent.detail[0] = 1;
  fakeAgent.detail[1] = -26;
  fakeAgent.detail[2] = 99;
  char data[] = "payload";
  EXPECT_EQ(client.Communicate(4294967296, 5, 6, data), -79);
  EXPECT_EQ(fakeAgent.calls, (Calls{"Communicate 4294967296 5 6 payload detail 0 0 0"}));
  EXPECT_EQ(client.getLastRMErrCode(), -79);
  EXPECT_EQ(client.getLastSSErrType(), 1);
  EXPECT_EQ(client.getLastSSErrCode(), -26);
  for (const char byte : client.m_lastSmtpMsg) ASSERT_EQ(byte, 0);
}

TEST_F(CMxlRmgLibClient, AnExchangeThatThrowsLeavesAClearedRecord) {
  CMxlRmgLib client;
  client.setData({"1", "2", "3", "old message"});
  fakeAgent.before = [] { throw 1; };
  EXPECT_THROW(client.Communicate(1, 0, 0, nullptr), int);
  EXPECT_EQ(client.getLastRMErrCode(), 0);
  EXPECT_EQ(client.getLastSSErrType(), 0);
  EXPECT_EQ(client.getLastSSErrCode(), 0);
  EXPECT_STREQ(client.getLastSmtpMsg(), "");
}

TEST_F(CMxlRmgLibClient, NotificationsAndDataAreExchanges) {
  CMxlRmgLib client;
  fakeAgent.result = 2;
  char text[] = "text";
  char extra[] = "extra";
  EXPECT_EQ(client.sendNotify(11, text, extra), 2);
  EXPECT_EQ(client.sendData(12, text, 4, extra), 2);
  EXPECT_EQ(fakeAgent.calls, (Calls{"Communicate 11 0 0 text detail 0 0 0",
                                    "Communicate 12 0 4 text detail 0 0 0"}));
}

TEST_F(CMxlRmgLibClient, CallsWithoutEffectAnswerAlwaysTheSame) {
  CMxlRmgLib client;
  client.setMailTimeout(3);
  client.setEnv();
  EXPECT_EQ(client.html_CheckUrl(1), 0);
  EXPECT_EQ(client.CheckUrl(1), 0);
  EXPECT_EQ(client.getCenterCode(), 0);
  EXPECT_TRUE(fakeAgent.calls.empty());
}

TEST_F(CMxlRmgLibClient, TheLookUpOfAFunctionThrows33) {
  CMxlRmgLib client;
  try {
    client.getFuncEntry("VEK_GetID");
    FAIL() << "no exception";
  } catch (int e) {
    EXPECT_EQ(e, 33);
  }
}

TEST_F(CMxlRmgLibClient, OperationsCallEachOtherThroughTheirSlots) {
  struct Replaced : CMxlRmgLib {
    int RMG_GetStatus(int& status) override {
      status = 0x20000;
      return rawResult;
    }
    int RMG_GetID(char* dst) override {
      strcpy(dst, "raw");
      return rawResult;
    }
    int rawResult = 0;
  } raw;
  EXPECT_TRUE(raw.isStop());
  EXPECT_EQ(raw.getLastStatus(), 0x20000);
  EXPECT_STREQ(raw.getMachineID(), "raw");
  raw.rawResult = 1;
  EXPECT_FALSE(raw.isStop());

  struct Status : CMxlRmgLib {
    int GetStatus(int& status) override {
      status = 0x20;
      return 0;
    }
  } status;
  EXPECT_TRUE(status.isOperate());

  struct Query : CMxlRmgLib {
    bool queryConnection(int& status) override {
      EXPECT_EQ(status, 0);
      status = 0x10000;
      return true;
    }
  } query;
  EXPECT_TRUE(query.isMaintenance());

  struct Id : CMxlRmgLib {
    int GetID(char* dst) override {
      strcpy(dst, "id");
      return 1;
    }
  } id;
  EXPECT_STREQ(id.getMachineID(), "id");

  struct Exchange : CMxlRmgLib {
    int Communicate(unsigned long, int, int, void*) override { return 55; }
  } exchange;
  EXPECT_EQ(exchange.sendNotify(1, nullptr, nullptr), 55);
  EXPECT_EQ(exchange.sendData(1, nullptr, 0, nullptr), 55);

  struct Stop : CMxlRmgLib {
    int stopCom() override { return 0; }
  };
  {
    Stop stop;
    stop.startCom();
  }
  EXPECT_EQ(fakeAgent.calls, (Calls{"StartComm 0 0", "StopComm"})) << "the destructor's own stop";
}

}  // namespace
