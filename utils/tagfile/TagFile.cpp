#include "utils/tagfile/TagFile.h"
