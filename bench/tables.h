// The figures as tables, in Markdown, with their ratios.
#ifndef BENCH_TABLES_H
#define BENCH_TABLES_H

#include <cstdio>

#include "bench/figures.h"

namespace bench {

/// Leaves out the tables of benchmarks that did not run.
void print_tables(std::FILE* out, const Figures& figures);

}  // namespace bench

#endif
