// Takes the C library's place as the one that receives log lines, under both of the names it has there: what is
// built with fortified functions calls the second. For one file of a program.
#pragma once

#include <cstdarg>
#include <cstdio>

// The test's own; runs under the library's lock.
void take_line(int priority, const char* text);

inline void take_line(int priority, const char* format, std::va_list arguments) {
  char text[4096];
  std::vsnprintf(text, sizeof text, format, arguments);
  take_line(priority, text);
}

extern "C" {
// By names of their own here, since those of the C library's header may be inline functions.
[[gnu::visibility("default")]] void syslog_here(int priority, const char* format, ...) __asm__("syslog");
[[gnu::visibility("default")]] void checked_here(int priority, int, const char* format, ...) __asm__("__syslog_chk");

void syslog_here(int priority, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  take_line(priority, format, arguments);
  va_end(arguments);
}
void checked_here(int priority, int, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  take_line(priority, format, arguments);
  va_end(arguments);
}
}
