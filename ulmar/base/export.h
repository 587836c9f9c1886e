// Marks what the shared library publishes; everything else is built hidden.
#pragma once

#define ULMAR_EXPORT __attribute__((visibility("default")))
