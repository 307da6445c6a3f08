#pragma once

/// Calls \p function when the static objects of the keeper's library go.
__attribute__((visibility("default"))) void callAtTheEnd(void (*function)());
