#include "exporter/exporter_api.h"
