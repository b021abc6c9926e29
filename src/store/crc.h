// CRC-32C (Castagnoli), the checksum of every frame and of the index
// snapshot. The machine's crc32 instruction does the work where the processor
// has it; a table-driven loop gives the same values elsewhere.
#pragma once

#include <cstddef>
#include <cstdint>

uint32_t StoreCrc32c(const void *data, size_t len, uint32_t crc = 0);

// The same checksum by the table-driven loop alone, whatever the processor
// has: the fast path is tested against it.
uint32_t StoreCrc32cPortable(const void *data, size_t len, uint32_t crc = 0);
