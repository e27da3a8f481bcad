#pragma once

class Sample {
 public:
  [[nodiscard]] bool Fine(std::string& problem);
  bool Open(const std::string& path, std::string& problem);
  void Explain(std::string& problem) const;

 private:
  static std::optional<int> Number(std::string_view text,
                                   std::string& reason);
};
