#pragma once

/// Look-up of an agent function by name. It has no virtual destructor: never delete through it.
class ICMxlRmg {
 public:
  virtual void* getFuncEntry(const char* name) = 0;

 protected:
  ~ICMxlRmg() = default;
};
