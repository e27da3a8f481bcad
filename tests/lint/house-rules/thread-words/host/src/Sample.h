#pragma once

class Sample {
 public:
  int Get() const;  // values[i] of it [any thread]
  // Is called when nobody looks. [whenever it
  // likes]
  void Run();
  void Set(int value);  // [worker thread; Get: any thread; the rest: never]
};
