// Marks what librovk-message exports; everything else in it is hidden.
#pragma once

#define ROVK_EXPORT extern "C" __attribute__((visibility("default")))
