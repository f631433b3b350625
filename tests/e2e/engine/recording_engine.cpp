#include "utils/export.h"
