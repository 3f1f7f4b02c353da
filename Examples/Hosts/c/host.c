/* SPDX-License-Identifier: Apache-2.0 */

/*
 * A host in C: passes a request to the library and prints its result.
 *
 *     host REQUEST.json
 *
 * Exit status: 0 answered, 2 the file cannot be read. The result says whether the machine passed.
 */

#include <vel_device_trust/vel_device_trust_c.h>

#include <stdio.h>
#include <stdlib.h>

/* Prints warnings and errors; the other levels are for troubleshooting. */
static void log_error(void *context, const char *message, size_t length, int64_t level,
                      const char *file, const char *function, int32_t line)
{
    FILE *stream = context;

    (void)file;
    (void)function;
    (void)line;
    if (level >= VEL_LOG_WARNING)
        fprintf(stream, "log: %.*s\n", (int)length, message);
}

/* The whole file, to be freed; null if it cannot be read. */
static char *read_file(const char *path, size_t *length)
{
    FILE *file = fopen(path, "rb");
    char *content = NULL;
    size_t capacity = 0;
    size_t got = 1;

    *length = 0;
    while (file != NULL && got != 0) {
        if (*length == capacity) {
            char *larger = realloc(content, capacity = 2 * capacity + 4096);

            if (larger == NULL)
                break;
            content = larger;
        }
        got = fread(content + *length, 1, capacity - *length, file);
        *length += got;
    }
    if (file == NULL || got != 0 || ferror(file)) {
        free(content);
        content = NULL;
    }
    if (file != NULL)
        fclose(file);
    return content;
}

int main(int argc, char **argv)
{
    size_t length = 0;
    char *request = argc == 2 ? read_file(argv[1], &length) : NULL;
    vel_runner *runner = vel_runner_create(log_error, stderr, NULL);
    char *result;

    if (request == NULL || runner == NULL) {
        fprintf(stderr, "usage: host REQUEST.json\n");
        vel_runner_free(runner);
        free(request);
        return 2;
    }
    result = vel_runner_run(runner, request, length, NULL);
    puts(result);
    vel_result_free(result);
    vel_runner_free(runner);
    free(request);
    return 0;
}
