#include "CEnvConf.h"

// Built before the objects of other files, whose constructors may log.
CEnvConf gEnv __attribute__((init_priority(101)));

CEnvConf::CEnvConf() = default;

CEnvConf::~CEnvConf() = default;

bool CEnvConf::getValueString(std::string key, std::string& out) {
  out = m_values[key];
  return true;
}
