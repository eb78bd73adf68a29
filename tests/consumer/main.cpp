// Calls one function of each library; prints what they answer.
#include <cstdio>

#include "Keel/coding/version.h"
#include "Plinth/inventory/apps.h"

int main() {
  const bool newer = Keel::Version("1.10") > Keel::Version("1.9");
  const bool running = Plinth::Apps::isRunning("org.example.none");
  std::printf("1.10 > 1.9: %s; org.example.none running: %s\n", newer ? "yes" : "no", running ? "yes" : "no");
  return newer && !running ? 0 : 1;
}
