// KELMIME_EXPORT marks what the shared library shows; everything else is hidden.
#pragma once

#define KELMIME_EXPORT __attribute__((visibility("default")))
