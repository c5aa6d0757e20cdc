/* Built against an installed copy of the library, as a user builds. */
#include <stdio.h>
#include <string.h>

#include <vekvc.h>

int main(void) {
    const VekLibVersion* v = vekvcGetLibVersion();
    if (strcmp(v->Name, "libvekvcn8.so.6.1") != 0) return 1;
    printf("%s\n", v->Version);
    return 0;
}
