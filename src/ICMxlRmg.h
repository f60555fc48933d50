#pragma once

/// Look-up of an agent function by name. It has no virtual destructor: never delete through it.
class ICMxlRmg {
 public:
  /// The entry point of the agent function `name`.
  virtual void* getFuncEntry(const char* name) = 0;

 protected:
  ~ICMxlRmg() = default;
};
