#pragma once

#include <functional>
#include <string>
#include <vector>

// The agent's five functions, as a test wants them to answer.
struct FakeAgent {
  int result = 0;
  int status = 0;
  int id = 0;
  int detail[3] = {};
  bool writesId = true;
  std::function<void()> before;    // run at the start of every call; may throw
  std::vector<std::string> calls;  // name and arguments, as the agent saw them
};

extern FakeAgent fakeAgent;
