// The statement grammar as a parse-control record.
#pragma once

#include "vor/parsing.h"

// imdtag: a new record for the import and export statements, from the host's pool, which keeps it. Ends the task with
// HOST_TASK_NO_MEMORY when the pool refuses.
PARSECONTROL *imdtag();
