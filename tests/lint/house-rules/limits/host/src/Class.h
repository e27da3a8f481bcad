#pragma once

class Fine {
 public:
  Fine();
  ~Fine();
  Fine(const Fine&) = delete;
  int Get0() const;
  int Get1() const;
  int Get2() const;
  int Get3() const;
  int Get4() const;
  int Get5() const;
  int Get6() const;
  int Get7() const;
  int Get8() const;
  int Get9() const;
  int Get10() const;
  int Get11() const;
  int Get12() const;
  int Get13() const;
  int Get14() const;
  int Get15() const;
  int Get16() const;
  int Get17() const;
  int Get18() const;
  int Get19() const;
  int Get20() const;
  int Get21() const;
  int Get22() const;
  int Get23() const;
  int Get24() const;
  std::function<void()> member;

 private:
  void Hidden();
};

struct Large {
  int Get0() const;
  int Get1() const;
  int Get2() const;
  int Get3() const;
  int Get4() const;
  int Get5() const;
  int Get6() const;
  int Get7() const;
  int Get8() const;
  int Get9() const;
  int Get10() const;
  int Get11() const;
  int Get12() const;
  int Get13() const;
  int Get14() const;
  int Get15() const;
  int Get16() const;
  int Get17() const;
  int Get18() const;
  int Get19() const;
  int Get20() const;
  int Get21() const;
  int Get22() const;
  int Get23() const;
  int Get24() const;
  bool operator==(const Large& other) const { return true; }
};
