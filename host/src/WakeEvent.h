#pragma once

namespace vxhost {

// Something that has happened, for a poll: readable from Set on. [any thread]
class WakeEvent {
 public:
  WakeEvent();  // throws std::system_error when there is no descriptor left
  ~WakeEvent();
  WakeEvent(const WakeEvent&) = delete;
  WakeEvent& operator=(const WakeEvent&) = delete;

  void Set() const noexcept;
  [[nodiscard]] int Descriptor() const { return descriptor_; }

 private:
  const int descriptor_;
};

}  // namespace vxhost
