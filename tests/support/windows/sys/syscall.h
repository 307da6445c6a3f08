#pragma once

// There are no numbers of system calls.
