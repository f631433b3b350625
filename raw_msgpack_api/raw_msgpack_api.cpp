#include "raw_msgpack_api/raw_msgpack_api.h"
