// A user of the installed library: built against its headers and libSrTePolicy.so, nothing else.

#include "Platform/Export.h"

int main() {}
