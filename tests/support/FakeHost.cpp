#include "tests/support/FakeHost.h"
