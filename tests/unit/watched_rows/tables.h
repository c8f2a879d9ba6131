// The hooks of this program's tables: what they answer, and what they were asked.
#ifndef TESTS_UNIT_WATCHED_ROWS_TABLES_H
#define TESTS_UNIT_WATCHED_ROWS_TABLES_H

#include <cstdint>
#include <vector>

inline std::vector<uint32_t> excuses_asked; // row numbers
inline int32_t excuse_answer = 0;

#endif
