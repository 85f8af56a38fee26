// The virtual table as an extension that any SQLite client loads: SELECT load_extension('libvordta_sqlite').
#include "query/stata_table.h"

#include <sqlite3ext.h>

SQLITE_EXTENSION_INIT1

extern "C" __attribute__((visibility("default"))) int sqlite3_vordtasqlite_init(sqlite3 *connection, char **message,
                                                                                const sqlite3_api_routines *routines) {
    SQLITE_EXTENSION_INIT2(routines)
    try {
        vor::offer_stata_tables(connection, std::make_shared<vor::StataTables>());
        return SQLITE_OK;
    } catch (const std::exception &error) {
        *message = sqlite3_mprintf("%s", error.what());
        return SQLITE_ERROR;
    }
}
