// The class loader: loads an image by name and lets its entry fill the base-class slots of an object.
#pragma once

#include "vor/imglue.h"

#include <cstdint>

// imldcls: 0 (also when the image has no entry), or the first code of loading, finding or calling it that is not 0.
int32_t imldcls(IMGLUE **object, const char *class_name);
