/* A minimal host: identifies the library, fills a 2 x 3 table, reads it back
 * and discards it. */
#include <stdio.h>
#include <string.h>

#include "tolvik32.h"

int main(void)
{
    char name[64];
    uint8_t info[16] = {0};
    uint32_t handle = 0;
    uint16_t rows = 2, cols = 3, r, c, length;
    char value[256];

    TolvikDLLIDRequest(name, info);
    printf("%s (interface %u, version %u)\n", name, (unsigned)info[4],
           (unsigned)(info[7] | info[8] << 8 | info[9] << 16 | (uint32_t)info[10] << 24));

    IntpOpenWrite(&handle, &rows, &cols);
    for (r = 0; r < rows; ++r) {
        for (c = 0; c < cols; ++c) {
            if (c == 1)
                continue; /* leave the middle column empty */
            snprintf(value, sizeof value, "cell %u.%u", (unsigned)r, (unsigned)c);
            IntpSetAttrValue(&handle, &r, &c, value);
        }
    }
    /* Setting a cell in the row just past the end adds that row. */
    strcpy(value, "added row");
    IntpSetAttrValue(&handle, &rows, &(uint16_t){0}, value);
    ++rows;

    for (r = 0; r < rows; ++r) {
        for (c = 0; c < cols; ++c) {
            int32_t filled = IntpGetAttrValue(&handle, &r, &c, value, &length);
            printf("%s%-12s", c ? " | " : "", filled ? value : "...");
        }
        printf("\n");
    }
    IntpCloseRead(&handle);
    return handle == 0 ? 0 : 1;
}
