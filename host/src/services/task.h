// The task: its end, internal errors, descriptions of variables, and trees turned into chains.
#pragma once

#include <vor/formats.h>

namespace vor::services {

class ServiceTable;

// Turns a binary tree into the chain of its nodes in order, linked through rlink; its first node.
TREE *chain_of(TREE *root);

void offer_task_services(ServiceTable &table);

} // namespace vor::services
