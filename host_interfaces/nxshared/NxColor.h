#pragma once

#include "nxshared/HostApi.h"

// A color as the controller keeps it: a mode and two chromaticity coordinates. A plain value.
class NX_HOST_API NxColor
{
public:
    // The mode's initial color; mode 0 has x = y = 0.
    explicit NxColor(int mode);

    int GetMode() const { return m_mode; }
    double GetX() const { return m_x; }
    double GetY() const { return m_y; }

    // Sets both coordinates, each 0 to 1.
    void SetXY(double x, double y);

private:
    int m_mode;
    double m_x = 0;
    double m_y = 0;
};
