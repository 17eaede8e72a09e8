/* hello: the smallest kxsupt client. It asks the library for its version and
 * round-trips a block through the library's heap. Build it against an
 * installed library with cc hello.c $(pkg-config --cflags --libs kxsupt), or
 * with CMake through examples/find_package/CMakeLists.txt. */
#include <kxsupt.h>

#include <stdio.h>
#include <string.h>

int main(void) {
  char *greeting;
  printf("libkxsupt interface %u.%u.%u\n", (unsigned)SUPTGetMajorVersion(),
         (unsigned)SUPTGetMinorVersion(), (unsigned)SUPTGetRevision());

  greeting = SMAllocMem(32);
  if (greeting == NULL) {
    fputs("hello: out of memory\n", stderr);
    return 1;
  }
  strcpy(greeting, "hello from the library heap");
  puts(greeting);
  SMFreeGeneric(greeting);
  return 0;
}
