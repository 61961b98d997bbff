/* A C host on the installed tolvik32.h: identifies the library. */
#include <stdio.h>
#include <string.h>

#include "tolvik32.h"

int main(void)
{
    char name[64];
    uint8_t info[16] = {0};
    TolvikDLLIDRequest(name, info);
    puts(name);
    return strcmp(name, "Tolvik File Management Library") == 0 ? 0 : 1;
}
