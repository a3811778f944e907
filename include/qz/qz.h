#pragma once

/// @file
/// Everything that the library offers, for programs that don't mind the compile time.

#include <qz/AsciiTableBuilder.h>
#include <qz/MimeTypeInfo.h>
#include <qz/SoftwareVersionInfoForStream.h>
#include <qz/SystemError.h>
#include <qz/qzByteArrayLowFootprint.h>
#include <qz/qzCancelInterface.h>
#include <qz/qzDataStream.h>
#include <qz/qzDirUtils.h>
#include <qz/qzExport.h>
#include <qz/qzIniFile.h>
#include <qz/qzIoDevice.h>
#include <qz/qzIoDeviceBroadcast.h>
#include <qz/qzIoDeviceByteCounter.h>
#include <qz/qzIoDeviceByteSniffer.h>
#include <qz/qzIoDeviceDelegable.h>
#include <qz/qzIoDeviceDummy.h>
#include <qz/qzIoDeviceFileStream.h>
#include <qz/qzIoDeviceKeepLastBytes.h>
#include <qz/qzIoDeviceReadBytesLimiter.h>
#include <qz/qzIoDeviceSignaler.h>
#include <qz/qzIoDeviceStdStreamProxy.h>
#include <qz/qzLog.h>
#include <qz/qzLogObject.h>
#include <qz/qzMathUtils.h>
#include <qz/qzProcess.h>
#include <qz/qzSimdConstants.h>
#include <qz/qzStringUtils.h>
#include <qz/qzSystem.h>
#include <qz/qzSystemUtils.h>
#include <qz/qzSystemVersion.h>
#include <qz/qzThread.h>
#include <qz/qzVariant.h>
