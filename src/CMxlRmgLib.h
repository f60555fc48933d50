#pragma once

#include <exception>
#include <string>

#include "CMxlRmgLibImpl.h"
#include "ICMxlRmgLib.h"
#include "IExtVekError.h"

/// The gateway client: every tool's single point of contact with the server agent.
///
/// It answers status questions, reads the machine ID, starts and stops communication, and keeps the
/// error of the last exchange in its inherited error record. Operations call each other virtually,
/// so a derived class can replace one step. For use by one thread.
class CMxlRmgLib : public CMxlRmgLibImpl, public ICMxlRmgLib, public IExtVekError {
 public:
  /// A gateway failure, with the agent's result as its code.
  class CMxlRmgLibException : public std::exception {
   public:
    /// `code` is the agent's result.
    explicit CMxlRmgLibException(int code) : m_code(code) {}

    /// The agent's result.
    virtual int code() const;

   private:
    int m_code;
  };

  /// Communication could not be started; `code()` is the agent's non-zero result and `what()` is
  /// "FailRM_StartCommException".
  class FailRM_StartCommException : public CMxlRmgLibException {
   public:
    using CMxlRmgLibException::CMxlRmgLibException;

    /// "FailRM_StartCommException".
    const char* what() const noexcept override;
  };

  /// Makes no agent call.
  CMxlRmgLib() = default;

  /// Stops communication if `startCom` started it and nothing has stopped it since. An exception
  /// from that ends the process through the termination handler.
  ~CMxlRmgLib() override;

  CMxlRmgLib(const CMxlRmgLib&) = delete;
  CMxlRmgLib& operator=(const CMxlRmgLib&) = delete;

  /// Stores the agent's status word in `status`, keeps it as the last status whatever the result,
  /// and returns the agent's result, 0 for success.
  virtual int GetStatus(int& status);

  /// True if `GetStatus(status)` returns 0.
  virtual bool queryConnection(int& status);

  /// The four status questions: true if the agent's status word is exactly 0x20, 0x10000, 0x20000
  /// or 0x30000. False also if `queryConnection` is false.
  virtual bool isOperate();
  virtual bool isMaintenance();
  virtual bool isStop();
  virtual bool isMaintenanceStop();

  /// Status word of the last `GetStatus`; 0 before the first.
  virtual int getLastStatus();

  /// Starts communication and returns 0. Throws `FailRM_StartCommException` if the agent refuses;
  /// any other exception inside it ends the process through the termination handler.
  virtual int startCom();

  /// Ends communication and returns the agent's result; communication counts as stopped whatever
  /// the result.
  virtual int stopCom();

  /// `Communicate(id, 0, 0, text)`; `extra` is ignored.
  virtual int sendNotify(unsigned long id, char* text, char* extra);

  /// `Communicate(id, 0, length, data)` with `length` in bytes; `extra` is ignored.
  virtual int sendData(unsigned long id, void* data, int length, char* extra);

  /// Exchanges `data` with the agent and returns its result. The error record is cleared first and
  /// then holds the result, the transport type and the transport error code; its server message
  /// stays empty.
  int Communicate(unsigned long id, int a, int b, void* data) override;

  /// Does nothing.
  virtual void setMailTimeout(int seconds);

  /// Does nothing.
  virtual void setEnv();

  /// Four lines, the first one empty: machine ID, last status, and whether communication is
  /// started.
  virtual std::string to_s();

  /// Writes the machine ID to `dst` as decimal text and returns the agent's result. `dst` holds
  /// 4096 bytes or is null.
  virtual int GetID(char* dst);

  /// The machine ID as decimal text, 0 if the agent stores none. The text belongs to the client and
  /// changes with the next call.
  virtual char* getMachineID();

  /// Returns 0.
  virtual int html_CheckUrl(int kind);

  /// Returns 0.
  virtual int CheckUrl(int kind);

  /// Returns 0.
  virtual int getCenterCode();

  /// Never returns: throws the int 33.
  void* getFuncEntry(const char* name) override;

 protected:
  char m_machineID[4096] = {};  ///< Machine ID as decimal text; zero bytes before `getMachineID`.
  int m_lastStatus = 0;         ///< Status word of the last `GetStatus`.
  bool m_startedCom = false;    ///< `startCom` started communication, and nothing has stopped it.

 private:
  bool hasStatus(int word);
};
