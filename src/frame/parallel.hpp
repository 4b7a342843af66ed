// The one pattern of parallel work: an OpenMP team whose threads each take
// one contiguous block of rows (the split of a static schedule without a
// chunk size), joined before the call returns. Partial results are kept per
// thread and merged by the caller after the join; nothing is locked.
#pragma once

#include <omp.h>

#include <algorithm>
#include <cstdint>
#if defined(__SANITIZE_THREAD__)
#include <thread>
#include <vector>
#endif

namespace effects::detail {

// Number of threads a team of the next parallel region may have.
inline int team_capacity() { return omp_get_max_threads(); }

// Block [begin, end) of `rows` that thread `t` of `nt` gets: the range cut
// into nt nearly equal blocks, the first rows % nt blocks one row longer.
struct RowBlock {
    int64_t begin, end;
};
inline RowBlock static_block(int64_t rows, int t, int nt) {
    const int64_t q = rows / nt, r = rows % nt;
    const int64_t begin = t * q + std::min<int64_t>(t, r);
    return {begin, begin + q + (t < r ? 1 : 0)};
}

// Calls fn(thread, begin, end) once per thread with a non-empty block of
// rows. `thread` indexes per-thread partials sized by team_capacity().
#if defined(__SANITIZE_THREAD__)
// ThreadSanitizer cannot see the OpenMP runtime's barriers (they are not
// built with it), so under it the team is made of threads it does see,
// started here and joined before the call returns: the same blocks, the same
// bodies, a synchronisation it can check.
template <class Fn>
void parallel_blocks(int64_t rows, Fn&& fn) {
    if (rows < 1) return;
    const int nt = team_capacity() > 0 ? team_capacity() : 1;
    std::vector<std::thread> team;
    team.reserve(static_cast<size_t>(nt - 1));
    for (int t = 1; t < nt; ++t)
        team.emplace_back([&fn, rows, t, nt] {
            const RowBlock b = static_block(rows, t, nt);
            if (b.begin < b.end) fn(t, b.begin, b.end);
        });
    const RowBlock b = static_block(rows, 0, nt);
    if (b.begin < b.end) fn(0, b.begin, b.end);
    for (std::thread& th : team) th.join();
}
#else
template <class Fn>
void parallel_blocks(int64_t rows, Fn&& fn) {
    if (rows < 1) return;
#pragma omp parallel
    {
        const RowBlock b = static_block(rows, omp_get_thread_num(), omp_get_num_threads());
        if (b.begin < b.end) fn(omp_get_thread_num(), b.begin, b.end);
    }
}
#endif

// Calls fn(begin, end) over contiguous row blocks, one per thread.
template <class Fn>
void parallel_rows(int64_t rows, Fn&& fn) {
    parallel_blocks(rows, [&](int, int64_t begin, int64_t end) { fn(begin, end); });
}

}  // namespace effects::detail
