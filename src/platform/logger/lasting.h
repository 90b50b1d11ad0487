// What the logger needs to the very end of the program.
#pragma once

#include <memory>

/// The one T of the program, made at its first use and never destroyed: objects
/// that live until exit log when they go, after a static object of ours would be
/// gone.
template <typename T>
T& lasting()
{
    static T& instance = *std::make_unique<T>().release();
    return instance;
}
