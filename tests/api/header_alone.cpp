#include "header_alone.c"
