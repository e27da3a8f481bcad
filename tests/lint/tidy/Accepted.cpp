const int* Sample() {
  return nullptr;
}
