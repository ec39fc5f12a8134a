#pragma once

// Failure messages show strings as text rather than as lists of UTF-16 units.

#include <QString>
#include <ostream>

inline void PrintTo(const QString& text, std::ostream* out) {
    *out << '"' << text.toStdString() << '"';
}
