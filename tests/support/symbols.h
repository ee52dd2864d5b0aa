// Looks exports up in the loaded library, as a program does that loads it at run time.
#pragma once

namespace tarn::test {

// Address of an export of the library itself; null when there is none.
void *find_export(const char *name);

} // namespace tarn::test
