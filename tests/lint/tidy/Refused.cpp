const int* Sample() {
  return 0;
}
