/* Compiled for 32-bit ARM: the shared records' layout on the device. */
#include "layout32.h"

int main(void) { return 0; }
