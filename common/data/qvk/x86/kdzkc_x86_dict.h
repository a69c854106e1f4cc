// kdzkc_x86_dict.h: emits the dictionary predicate kernels of one line of the list.
#pragma once

#include "frame/kernels.h"
#include "frame/main_body.h"
#include "frame/selective_body.h"
#include "predicates/dict.h"

#define KDZK_DEFINE_DICT(cls, width, form) KDZK_DEFINE_PREDICATES(cls, width, form, kdzk::Dict)
