#include "CMxlRmgLib.h"

#include <cstring>
#include <exception>
#include <string>

namespace {

// Compared for equality: 0x30000 is a state of its own, not maintenance and stop at once.
constexpr int kStatusOperate = 0x20;
constexpr int kStatusMaintenance = 0x10000;
constexpr int kStatusStop = 0x20000;
constexpr int kStatusMaintenanceStop = 0x30000;

constexpr int kNoFunctionEntry = 33;

}  // namespace

int CMxlRmgLib::CMxlRmgLibException::code() const { return m_code; }

const char* CMxlRmgLib::FailRM_StartCommException::what() const noexcept {
  return "FailRM_StartCommException";
}

CMxlRmgLib::~CMxlRmgLib() {
  if (m_startedCom) CMxlRmgLib::stopCom();
}

int CMxlRmgLib::GetStatus(int& status) {
  const int result = RMG_GetStatus(status);
  m_lastStatus = status;
  return result;
}

bool CMxlRmgLib::queryConnection(int& status) { return GetStatus(status) == 0; }

bool CMxlRmgLib::hasStatus(int word) {
  int status = 0;
  return queryConnection(status) && status == word;
}

bool CMxlRmgLib::isOperate() { return hasStatus(kStatusOperate); }

bool CMxlRmgLib::isMaintenance() { return hasStatus(kStatusMaintenance); }

bool CMxlRmgLib::isStop() { return hasStatus(kStatusStop); }

bool CMxlRmgLib::isMaintenanceStop() { return hasStatus(kStatusMaintenanceStop); }

int CMxlRmgLib::getLastStatus() { return m_lastStatus; }

int CMxlRmgLib::startCom() {
  try {
    int status = 0;
    const int result = RM_StartComm(status);
    if (result != 0) throw FailRM_StartCommException(result);
    m_startedCom = true;
    return 0;
  } catch (const FailRM_StartCommException&) {
    throw;
  } catch (...) {
    // Only the one exception may leave; its base class may not.
    std::terminate();
  }
}

int CMxlRmgLib::stopCom() {
  const int result = RM_StopComm();
  m_startedCom = false;
  return result;
}

int CMxlRmgLib::sendNotify(unsigned long id, char* text, char* /*extra*/) {
  return Communicate(id, 0, 0, text);
}

int CMxlRmgLib::sendData(unsigned long id, void* data, int length, char* /*extra*/) {
  return Communicate(id, 0, length, data);
}

int CMxlRmgLib::Communicate(unsigned long id, int a, int b, void* data) {
  clearError();
  int detail[3] = {};
  const int result = RM_Communicate(id, a, b, data, detail);
  m_rmErrCode = result;
  m_ssErrType = detail[0];
  m_ssErrCode = detail[1];
  return result;
}

void CMxlRmgLib::setMailTimeout(int /*seconds*/) {}

void CMxlRmgLib::setEnv() {}

std::string CMxlRmgLib::to_s() {
  std::string dump = "\n    m_machineID       = ";
  dump.append(m_machineID, strnlen(m_machineID, sizeof m_machineID));
  dump += "\n    m_lastStatus      = " + std::to_string(m_lastStatus);
  dump += "\n    m_startedCom      = ";
  dump += m_startedCom ? "true\n" : "false\n";
  return dump;
}

int CMxlRmgLib::GetID(char* dst) { return RMG_GetID(dst); }

char* CMxlRmgLib::getMachineID() {
  std::memset(m_machineID, 0, sizeof m_machineID);
  GetID(m_machineID);
  return m_machineID;
}

int CMxlRmgLib::html_CheckUrl(int /*kind*/) { return 0; }

int CMxlRmgLib::CheckUrl(int /*kind*/) { return 0; }

int CMxlRmgLib::getCenterCode() { return 0; }

void* CMxlRmgLib::getFuncEntry(const char* /*name*/) { throw kNoFunctionEntry; }
