// One input variable out of the descriptor arrays: its class, decoder, width, place, label, display format and value
// labels. It reads nothing but value-label tables.
#pragma once

#include "imstata_records.h"

#include <cstdint>

// stored_variable: how variable `index` is stored.
//
// type, width  out: the stored type, and the bytes a value takes in the record.
// 0, or ERROR_INPUT_INVALID for a type code that the release does not have; message_string names variable and code.
status stored_variable(indbsrec *in, const descrec *descriptors, int64_t index, stored_type *type, int32_t *width);

// build_variables: make the list of variables, firstname, from the descriptors, in file order. map_array, layout,
// byte_order, varcount, max_strls and value_label_position must stand in indsn.
//
// 0, ERROR_MEMORY, ERROR_INPUT_INVALID for a type code, or what loading a value-label table returned.
status build_variables(indbsrec *in, const descrec *descriptors);
