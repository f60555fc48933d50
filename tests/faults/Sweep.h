#pragma once

#include <functional>
#include <set>
#include <string>
#include <vector>

// Makes every call of the C library in a scenario fail, one after the other, once and from then on,
// and judges what comes of it: no crash but the documented end on exhausted memory, no hang, no
// descriptor, child or temporary file left, one of the results that are permitted, and the next
// call works again.

// What a scenario may leave or do besides, because a header says so.
enum May : unsigned {
  kMayLeaveFiles = 1,
  kMayLeaveDescriptors = 2,
  kMayEndWithoutMemory = 4,
  kMayPrint = 8,  // what it does not print without a fault
};

struct Scenario {
  // Adds itself to `scenarios()`.
  Scenario(const char* scenarioName, std::function<std::string()> body,
           std::set<std::string> results, unsigned permissions = 0);

  const char* name;
  std::function<std::string()> run;
  std::set<std::string>
      permitted;  // results besides the usual one; "?" in front: not in every sweep
  unsigned may;   // the permissions that apply, of May
};

const std::vector<const Scenario*>& scenarios();

// SCENARIO(NAME, {PERMITTED...}, MAY) { ... return RESULT; }
#define SCENARIO(name, ...)                                        \
  static std::string name();                                       \
  static const Scenario scenario_##name(#name, name, __VA_ARGS__); \
  static std::string name()

// Forgets what earlier sweeps have counted; to be called once, before the processes that sweep are
// forked.
void startTotals();

// Runs the scenario without a fault and then with each. Prints what falls short.
void sweep(const Scenario& scenario, bool verbose);

// Prints the totals, and with `all` each function that no scenario calls. Whether nothing fell
// short.
bool showTotals(bool all);
