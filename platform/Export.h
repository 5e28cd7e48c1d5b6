#pragma once

// Marks what a shared library exposes; everything else is built with hidden visibility.
#define ROUTING_API __attribute__((visibility("default")))
