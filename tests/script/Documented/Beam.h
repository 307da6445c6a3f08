#pragma once

/// What the module Documented wraps. It counts the calls of its methods.
class Beam
{
public:
    explicit Beam(double length) : m_length(length) {}
    explicit Beam(const char *) {}

    static Beam *make(int)
    {
        ++count;
        return new Beam(1.0);
    }
    static int calls() { return count; }

    void bend(double) { ++count; }
    int load(int) { return ++count; }
    int load(const char *, double) { return ++count; }
    double length() const
    {
        ++count;
        return m_length;
    }
    void paint() { ++count; }
    void check(bool) { ++count; }
    void fold() { ++count; }
    void turn() { ++count; }
    void cut() { ++count; }

    enum Material
    {
        Steel,
        Wood
    };

private:
    inline static int count = 0;
    double m_length = 0.0;
};

class Loads
{
public:
    double total() const { return 0.0; }
};

inline double area(double width) { return width; }
