#include "kernels/kernel_table.h"
namespace pexo {
void FillSse2Kernels(KernelTable*) {}
}
