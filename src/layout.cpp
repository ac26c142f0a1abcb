// The records' layout is part of the binary interface, the same on 32-bit ARM and on 64-bit PCs: a program built
// against an older header must find every field where it left it.

#include "korvo_bt.h"

#include <cstddef>

static_assert(sizeof(BtTaskRecord) == 5704);
static_assert(offsetof(BtTaskRecord, task_state) == 3080);
static_assert(offsetof(BtTaskRecord, task_num_pieces) == 3256);
static_assert(offsetof(BtTaskRecord, task_rating) == 3304);
static_assert(offsetof(BtTaskRecord, task_is_paused) == 3320);
static_assert(offsetof(BtTaskRecord, task_type) == 3644);
static_assert(offsetof(BtTaskRecord, task_record) == 5700);
