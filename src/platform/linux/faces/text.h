// The run-time's text helpers under their Windows names.
#pragma once

#include "platform/linux/faces/types.h"

char* _strdate(char* text);  // local date, MM/DD/YY, into 9 bytes
char* _strtime(char* text);  // local time, HH:MM:SS, into 9 bytes
int _stricmp(const char* left, const char* right);
int _strnicmp(const char* left, const char* right, std::size_t count);

// As sprintf for %s %d %u %x %c %%, but never more than 1024 characters and a NUL. Returns the characters
// stored.
int wsprintfA(LPSTR buffer, LPCSTR format, ...) __attribute__((format(printf, 2, 3)));
