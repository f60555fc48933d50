#pragma once

#include <map>
#include <string>

/// The tool set's configuration: keywords and their values.
///
/// A look-up never fails: a keyword that is not there is entered with an empty value.
class CEnvConf {
 public:
  CEnvConf();
  virtual ~CEnvConf();

  /// `out` receives the value of `key`, empty when there is none. Returns true.
  bool getValueString(std::string key, std::string& out);

 private:
  std::map<std::string, std::string> m_values;
};

/// The configuration of the process.
extern CEnvConf gEnv;
