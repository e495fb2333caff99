// The microscope's command set, one operation for each command and named like it.

#include "sem/tescan.h"

namespace {
QString name(const char *command)
{
    return QLatin1String(command);
}
}

void tescan::TcpRegDataPort(int dataPort)
{
    createHeader(name("TcpRegDataPort"));
    sendUint(dataPort);
    send();
}

void tescan::TcpGetVersion()
{
    createHeader(name("TcpGetVersion"));
    send();
}

void tescan::TcpGetSWVersion()
{
    createHeader(name("TcpGetSWVersion"));
    send();
}

void tescan::DtEnumDetectors()
{
    createHeader(name("DtEnumDetectors"));
    send();
}

void tescan::DtSelect(int channel, int detector)
{
    createHeader(name("DtSelect"));
    sendInt(channel);
    sendInt(detector);
    send();
}

void tescan::DtEnable(int channel, int enable, int bitsPerPixel)
{
    createHeader(name("DtEnable"));
    sendInt(channel);
    sendInt(enable);
    sendInt(bitsPerPixel);
    send();
}

void tescan::DtAutoSignal(int channel)
{
    createHeader(name("DtAutoSignal"));
    sendInt(channel);
    send();
}

void tescan::DtGetGainBlack(int channel)
{
    createHeader(name("DtGetGainBlack"));
    sendInt(channel);
    send();
}

void tescan::GetWD()
{
    createHeader(name("GetWD"));
    send();
}

void tescan::GetViewField()
{
    createHeader(name("GetViewField"));
    send();
}

void tescan::SetViewField(float viewField)
{
    createHeader(name("SetViewField"));
    sendFloat(viewField);
    send();
}

void tescan::ScScanXY(unsigned int frameId, unsigned int width, unsigned int height,
                      unsigned int left, unsigned int top, unsigned int right, unsigned int bottom,
                      int single, unsigned int dwellNs)
{
    createHeader(name("ScScanXY"));
    const unsigned int frame[] = {frameId, width, height, left, top, right, bottom};
    for (size_t i = 0; i < sizeof frame / sizeof frame[0]; ++i)
        sendUint(frame[i]);
    sendInt(single);
    sendUint(dwellNs);
    send();
}

void tescan::ScStopScan()
{
    createHeader(name("ScStopScan"));
    send();
}

void tescan::StgGetPosition()
{
    createHeader(name("StgGetPosition"));
    send();
}

void tescan::StgMoveTo(double x, double y, double value3, double value4, double value5)
{
    createHeader(name("StgMoveTo"));
    const double values[] = {x, y, value3, value4, value5};
    for (size_t i = 0; i < sizeof values / sizeof values[0]; ++i)
        sendFloat(values[i]);
    send();
}
