// system("in a comment") is none.
void Sample(char* text) {
  system("true");
  popen("true", "r");
  if (fork() == 0) usleep(1);
  std::this_thread::sleep_for(std::chrono::seconds(1));
  strtok(text, std::getenv("SEPARATORS"));
  sqlite3_open(text, nullptr);
}
