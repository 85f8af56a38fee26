/*
 * Reads a Stata file through the C interface: the names and Arrow types of its columns, and how many observations the
 * stream brings.
 *
 *     read_stream FILE.dta
 */
#include <stdio.h>
#include <vorhost/vordta.h>

static int read_all(struct ArrowArrayStream *stream) {
    struct ArrowSchema schema;
    struct ArrowArray array;
    int64_t rows = 0;
    int code = stream->get_schema(stream, &schema);
    if (code == 0) {
        for (int64_t i = 0; i < schema.n_children; ++i)
            printf("%s: %s\n", schema.children[i]->name, schema.children[i]->format);
        schema.release(&schema);
    }
    while (code == 0 && (code = stream->get_next(stream, &array)) == 0 && array.release) {
        rows += array.length;
        array.release(&array);
    }
    if (code != 0)
        fprintf(stderr, "%s\n", stream->get_last_error(stream));
    else
        printf("%lld observations\n", (long long)rows);
    stream->release(stream);
    return code == 0 ? 0 : 1;
}

int main(int count, char **arguments) {
    vordta_reader *reader;
    struct ArrowArrayStream stream;
    int code;
    if (count != 2) {
        fprintf(stderr, "usage: read_stream FILE.dta\n");
        return 2;
    }
    code = vordta_open(arguments[1], NULL, &reader);
    if (code == 0) {
        code = vordta_stream(reader, &stream);
        if (code == 0)
            code = read_all(&stream);
        vordta_close(reader);
    }
    if (code != 0 && *vordta_last_error())
        fprintf(stderr, "%s\n", vordta_last_error());
    return code;
}
