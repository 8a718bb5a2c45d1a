#include <stdio.h>
#include <stdlib.h>

/* Adds one to the number in its file, and shows it. */
int main(void) {
    const char *home = getenv("HOME");
    char path[4096];
    long count = 0;
    FILE *file;

    if (home == NULL || snprintf(path, sizeof path, "%s/tally", home) >= (int)sizeof path)
        return EXIT_FAILURE;
    file = fopen(path, "r");
    if (file != NULL) {
        if (fscanf(file, "%ld", &count) != 1)
            count = 0;
        fclose(file);
    }
    file = fopen(path, "w");
    if (file == NULL || fprintf(file, "%ld\n", ++count) < 0 || fclose(file) != 0)
        return EXIT_FAILURE;
    printf("%ld\n", count);
    return EXIT_SUCCESS;
}
