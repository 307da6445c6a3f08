// Every process-wide object of the library that has state when the library loads, in load order,
// and nothing else. They are torn down in the reverse order, and nothing here depends on Qt's
// application object or on the host. What is made on first use is a function-local static in the
// source of its class.

#include "data/MetaTypes_p.h"

const Data::MetaTypes Data::metaTypes; // data: names of the payload types, known to Qt
