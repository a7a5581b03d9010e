#pragma once

constexpr const char* kApplicationVersion = "2.0.5980";
