// The microscope's command set, one operation for each command and named like it.

#include "sem/tescan.h"

#include <initializer_list>

namespace {
void sendCommand(tescan *link, const char *name, std::initializer_list<int> values)
{
    link->createHeader(QLatin1String(name));
    for (const int *value = values.begin(); value != values.end(); ++value)
        link->sendInt(*value);
    link->send();
}

void sendReals(tescan *link, const char *name, std::initializer_list<double> values)
{
    link->createHeader(QLatin1String(name));
    for (const double *value = values.begin(); value != values.end(); ++value)
        link->sendFloat(*value);
    link->send();
}
} // namespace

void tescan::TcpRegDataPort(int dataPort)
{
    createHeader(QLatin1String("TcpRegDataPort"));
    sendUint(unsigned(dataPort));
    send();
}

void tescan::TcpGetVersion()
{
    sendCommand(this, "TcpGetVersion", {});
}

void tescan::TcpGetSWVersion()
{
    sendCommand(this, "TcpGetSWVersion", {});
}

void tescan::DtEnumDetectors()
{
    sendCommand(this, "DtEnumDetectors", {});
}

void tescan::DtSelect(int channel, int detector)
{
    sendCommand(this, "DtSelect", { channel, detector });
}

void tescan::DtEnable(int channel, int enable, int bitsPerPixel)
{
    sendCommand(this, "DtEnable", { channel, enable, bitsPerPixel });
}

void tescan::DtAutoSignal(int channel)
{
    sendCommand(this, "DtAutoSignal", { channel });
}

void tescan::DtGetGainBlack(int channel)
{
    sendCommand(this, "DtGetGainBlack", { channel });
}

void tescan::GetWD()
{
    sendCommand(this, "GetWD", {});
}

void tescan::GetViewField()
{
    sendCommand(this, "GetViewField", {});
}

void tescan::SetViewField(float viewField)
{
    sendReals(this, "SetViewField", { viewField });
}

void tescan::ScScanXY(unsigned int frameId, unsigned int width, unsigned int height,
                      unsigned int left, unsigned int top, unsigned int right, unsigned int bottom,
                      int single, unsigned int dwellNs)
{
    createHeader(QLatin1String("ScScanXY"));
    const unsigned int frame[] = { frameId, width, height, left, top, right, bottom };
    for (size_t i = 0; i < sizeof frame / sizeof frame[0]; ++i)
        sendUint(frame[i]);
    sendInt(single);
    sendUint(dwellNs);
    send();
}

void tescan::ScStopScan()
{
    sendCommand(this, "ScStopScan", {});
}

void tescan::StgGetPosition()
{
    sendCommand(this, "StgGetPosition", {});
}

void tescan::StgMoveTo(double x, double y, double value3, double value4, double value5)
{
    sendReals(this, "StgMoveTo", { x, y, value3, value4, value5 });
}
