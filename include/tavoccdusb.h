// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Driver library for the Tavo family of cooled astronomical CCD cameras.
//
// A session with one camera:
//
//     TavoCamera* camera = nullptr;
//     if (TavoCamera::list(&camera, 1) == 1 && camera->open()) {
//         TavoCapabilities caps;
//         camera->getCapabilities(nullptr, nullptr, &caps);
//         std::vector<unsigned short> frame(caps.pixelCountX * caps.pixelCountY);
//         camera->startExposure(false);
//         usleep(camera->delay(30.0));
//         if (camera->readCCD(0, 0, caps.pixelCountX, caps.pixelCountY, 1, 1))
//             camera->getImage(frame.data(), frame.size());
//         camera->close();
//     }
//     TavoCamera_destroy(camera);
//
// Rules that hold for every operation:
//
// - No exception leaves the library, except std::bad_alloc from getImage (see there). An operation
//   returns false on failure and points getLastError() at a static text; success leaves that text
//   as it was. A text named under "Errors" below is one that the operation itself can leave.
// - The library starts no threads. Operations that talk to the camera take that camera's lock, so
//   one camera may be used from several threads. open(), close() and the destructor must not run
//   while another operation on the same camera does.
// - A successful readCCD keeps the camera's lock until getImage. Between the two, any other
//   locking operation waits; called from the thread that should call getImage it waits for ever.
//   A timed readCCD in between forgets the waiting image before it waits itself, and then, as a
//   rule, nobody can free the lock any more: leave exposures to one thread at a time.
// - Operations on a camera that is not open fail as on one that was unplugged. Where a family
//   cannot tell, as told below, they succeed.
// - An impossible state (documented where it can arise) prints an "Assertion ... failed" line on
//   standard error and ends the process with exit status 1.
#ifndef TAVOCCDUSB_H
#define TAVOCCDUSB_H

#include <cstdint>

#if defined(__GNUC__)
#define TAVO_API __attribute__((visibility("default")))
#else
#define TAVO_API
#endif

// The camera families. A family decides how a camera is reached and what it can do.
enum CAMERA_TYPE : std::int32_t {
    BASIN_CAMERA = 1,
    RIDGE_CAMERA = 2,
    HERON_CAMERA = 3,
    GLINT_CAMERA = 4, // register-mapped; short exposures only
    LUMEN_CAMERA = 5,
};

// Tunable parameters, see TavoCamera::setParam.
enum PARAM_TYPE : std::int32_t {
    QUICKER_START_EXPOSURE_DELAY = 1, // microseconds, default 200000, HERON_CAMERA only
    QUICKER_READ_CCD_DELAY = 2,       // microseconds, default 100000, HERON_CAMERA only
    MAX_PACKET_SIZE = 3,              // bytes in one bulk read, default 25165824, every family
};

enum COOLER_TYPE : std::int32_t {
    COOLER_NONE = 0,
    COOLER_ALWAYSON = 1,    // runs whenever powered, not controllable
    COOLER_ONOFF = 2,       // can only be switched on
    COOLER_SELECTPOWER = 3, // driven at a chosen power level
    COOLER_SETPOINT = 4,    // regulated to a target temperature
};

enum COOLING_STATE : std::int32_t {
    COOLING_INACTIVE = 0,
    COOLING_ON = 1,
    COOLING_SETPOINT = 2, // regulating to a target
    WARMING_UP = 3,
};

enum COLOUR_TYPE : std::int32_t {
    COLOUR_MONO = 1,
    COLOUR_BAYER = 2, // the first red pixel stands at column offsetX, row offsetY
};

// What a camera can do, as it described itself when it was opened. The order and widths of the
// fields are part of the binary interface.
struct TavoCapabilities {
    bool hasShutter;     // mechanical shutter; never reported by LUMEN_CAMERA
    bool hasGuidePort;   // guide relays
    bool has8BitMode;    // see set8BitMode; LUMEN_CAMERA only
    bool hasFilterWheel; // internal filter wheel
    std::uint32_t gpioLineCount;
    std::uint32_t pixelCountX; // sensor width, pixels
    std::uint32_t pixelCountY; // sensor height, pixels
    double pixelSizeX;         // pixel width, micrometres
    double pixelSizeY;         // pixel height, micrometres
    std::uint32_t maxBinX;     // largest horizontal binning factor
    std::uint32_t maxBinY;     // largest vertical binning factor
    std::uint32_t tempSensorCount;
    COOLER_TYPE coolerType;
    COLOUR_TYPE colourType;
    std::int32_t offsetX;      // Bayer phase, column of the first red pixel (0 or 1)
    std::int32_t offsetY;      // Bayer phase, row of the first red pixel (0 or 1)
    bool supportsLongExposure; // startExposure works: every family except GLINT_CAMERA
    double minShortExposure;   // seconds, shortest exposure for the timed readCCD
    double maxShortExposure;   // seconds, longest exposure for the timed readCCD
};

// One camera. The order of the virtual operations is part of the binary interface.
class TAVO_API TavoCamera {
public:
    // Finds the cameras on the USB buses by their product ids and stores up to `max` new objects
    // in cameras[0] ... cameras[n - 1]; returns n. Nothing is sent to a camera. The caller owns
    // the objects and frees each with TavoCamera_destroy or delete. Each call makes new objects,
    // also for a camera that was listed before. Returns 0 when libusb cannot be started or asked.
    // `max` must be at least 1; otherwise the process ends with an assertion line. The first call
    // must not race with another.
    static int list(TavoCamera** cameras, int max);

    // The model's name; static text, never null.
    virtual const char* getName() = 0;

    // Opens the camera: claims its USB interface, loads its firmware, reads its description. Takes
    // seconds; true at once when the camera is already open. A BASIN_CAMERA that cannot be claimed
    // or does not answer is tried again every 5 s without end. A failed open frees the camera's
    // lock. It must be free before: reading the sensors and the filter wheel takes and frees it.
    // Errors: "Failed to open device" (often: no permission on the device node, or unplugged),
    // "Failed to initialize device". A GLINT_CAMERA that goes away meanwhile is not noticed: its
    // version and serial number are then 0.
    virtual bool open() = 0;

    // Closes the USB device; harmless when closed. Capabilities keep their values and the camera
    // may be opened again. Takes no lock. Destroying a camera does not close it.
    virtual void close() = 0;

    // Set and get a tunable parameter, on an open or a closed camera, without taking the lock. No
    // value is checked; a MAX_PACKET_SIZE of 0 or less makes every non-empty read wait until the
    // device fails. getParam returns 0 when it refuses.
    // MAX_PACKET_SIZE bounds the bytes asked of the kernel in one bulk read. Stock kernels refuse
    // requests of more than 16 MiB in flight (usbfs_memory_mb), some host controllers fewer: a
    // multiple of 512 from 512 KiB to 4 MiB is granted everywhere and costs nothing measurable.
    // Errors: "Invalid parameter" (unknown parameter, or a delay on another family than HERON).
    virtual bool setParam(PARAM_TYPE param, long value) = 0;
    virtual long getParam(PARAM_TYPE param) = 0;

    // Reports what the camera can do. Any output may be null; each that is not is written. Takes
    // no lock, sends nothing. On failure no output is written.
    // Errors: "Device is not opened".
    virtual bool getCapabilities(const char** name, CAMERA_TYPE* type, bool* hasShutter,
                                 bool* hasGuidePort, bool* has8BitMode, bool* hasFilterWheel,
                                 unsigned* gpioLineCount, unsigned* pixelCountX,
                                 unsigned* pixelCountY, double* pixelSizeX, double* pixelSizeY,
                                 unsigned* maxBinX, unsigned* maxBinY, unsigned* tempSensorCount,
                                 COOLER_TYPE* coolerType, COLOUR_TYPE* colourType, int* offsetX,
                                 int* offsetY, bool* supportsLongExposure, double* minShortExposure,
                                 double* maxShortExposure) = 0;

    // The same into a record, which must not be null; `name` and `type` may be.
    virtual bool getCapabilities(const char** name, CAMERA_TYPE* type,
                                 TavoCapabilities* capabilities) = 0;

    // Reads temperature sensor number `sensor` (0 to tempSensorCount inclusive; what each
    // measures is the camera's) into *currentTemp, degrees Celsius; null reads without reporting.
    // Served by every family but HERON_CAMERA. A BASIN or RIDGE camera that does not name its kind
    // of sensor ends the process with an assertion line when a temperature is asked for. A
    // GLINT_CAMERA cannot tell that its sensor was not read: it is then at -273.15.
    // Errors: "Invalid parameter", "Failed to read temperature sensor status".
    virtual bool getTemperatureSensorStatus(unsigned sensor, float* currentTemp) = 0;

    // Reads the cooler's state, target (degrees Celsius) and drive power (percent of its range).
    // Any output may be null; with `state` null nothing is reported at all. Served by BASIN, RIDGE
    // and LUMEN cameras with a controllable cooler. The kind of temperature sensor must be known
    // from bring-up or from an earlier getTemperatureSensorStatus when `targetTemp` is asked for;
    // otherwise the process ends with an assertion line.
    // Errors: "Unsupported operation" (no cooler, or one that cannot be controlled),
    // "Failed to set cooling status" (also though this operation reads).
    virtual bool getCoolingStatus(COOLING_STATE* state, float* targetTemp, float* power) = 0;

    // Starts cooling. `target` is degrees Celsius for COOLER_SETPOINT, a power level in the
    // camera's units (0 to 255) for COOLER_SELECTPOWER, and ignored for COOLER_ONOFF; a
    // LUMEN_CAMERA takes degrees Celsius whatever its cooler. Families as in getCoolingStatus; for
    // degrees the kind of temperature sensor must be known, as there.
    // Errors: "Unsupported operation", "Failed to set temperature".
    virtual bool setCooling(float target) = 0;

    // Starts a controlled warm-up, seen later as WARMING_UP. Families as in getCoolingStatus.
    // Errors: "Unsupported operation", "Failed to initiate warmup".
    virtual bool initiateWarmUp() = 0;

    // Reads the filter wheel: number of filters, whether it moves, the current and the target
    // position, as the camera counts them. Any output may be null. RIDGE and LUMEN cameras.
    // Errors: "Unsupported operation" (no wheel), "Failed to get filter wheel status".
    virtual bool getFilterWheelStatus(unsigned* filterCount, bool* moving, unsigned* current,
                                      unsigned* target) = 0;

    // Starts a move of the filter wheel to position `index`, which is held against nothing and
    // shortened to the bits that are sent (RIDGE 16, LUMEN 8): compare it with the number of
    // filters before. Poll getFilterWheelStatus until it has arrived.
    // Errors: "Unsupported operation" (no wheel), "Failed to set filter".
    virtual bool setFilter(unsigned index) = 0;

    // Modes of the readouts to come; all start off. They send nothing and take no lock. Asking for
    // what is already set succeeds on every family.
    // Preview (faster, noisier readout): BASIN, RIDGE and LUMEN. 8-bit (pixels 0 to 255): LUMEN.
    // Dark frame (the shutter stays closed): RIDGE.
    // Errors: "Unsupported operation"; a refused setDarkFrameMode leaves no text.
    virtual bool setPreviewMode(bool on) = 0;
    virtual bool set8BitMode(bool on) = 0;
    virtual bool setDarkFrameMode(bool on) = 0;

    // Starts a long exposure, timed by the caller: wait delay(seconds) microseconds, then call
    // readCCD (six arguments) and getImage, or abortExposure. `startOption` true lets a
    // HERON_CAMERA skip the pause in the readout request; other families ignore it. May be called
    // again to start over. Served by every family but GLINT_CAMERA.
    // Errors: "Failed to start exposure".
    virtual bool startExposure(bool startOption) = 0;

    // Forgets a running exposure or a requested readout, and closes the shutter of a RIDGE_CAMERA
    // that has one.
    // Must not be called between readCCD and getImage by the thread that will call getImage.
    // A shutter that does not close is reported by false alone, without a text.
    // Errors: "Unsupported operation".
    virtual bool abortExposure() = 0;

    // Ends a long exposure and asks for a window of the sensor. All lengths are unbinned sensor
    // pixels; binX and binY from 1 to maxBinX and maxBinY; x + width and y + height at most
    // pixelCountX (both against the sensor's width). On success the camera's lock stays held until
    // getImage, which must follow exactly once. On failure a new startExposure is needed.
    // Errors: "Operation out of sequence" (no exposure was started), "Invalid parameter" (frees the
    // camera's lock, also one that another thread holds), "Failed to read CCD".
    virtual bool readCCD(unsigned x, unsigned y, unsigned width, unsigned height, unsigned binX,
                         unsigned binY) = 0;

    // Takes a short exposure of `seconds` (minShortExposure to maxShortExposure), timed by the
    // camera, of a window as above; needs no startExposure. Returns when the exposure is over (of
    // a GLINT_CAMERA at once: getImage waits instead). On success the lock stays held until
    // getImage. A GLINT_CAMERA refuses unequal binning factors
    // and exposures longer than 0.532782 s without leaving a text.
    // Errors: "Invalid parameter", "Failed to read CCD".
    virtual bool readCCD(unsigned x, unsigned y, unsigned width, unsigned height, unsigned binX,
                         unsigned binY, double seconds) = 0;

    // Fetches the image that the last readCCD asked for into buffer[0] ... buffer[size - 1], row
    // by row without gaps, and frees the camera's lock on every path. `size` counts pixels:
    // imageWidth(width, binX) * imageHeight(height, binY). The caller owns the buffer, which must
    // not be null. GLINT pixels are 0 to 65280 in steps of 256; LUMEN pixels in 8-bit mode are 0
    // to 255. A HERON_CAMERA that does not take two samples a pixel lays row n at position n times
    // the window's binned height: without gaps only in square windows. The first two pixels that a
    // LUMEN_CAMERA sends are dropped, so the last two of its buffer hold no image. HERON and GLINT
    // cameras send whole frames and need memory for one; if there is none std::bad_alloc is thrown,
    // with the lock free and the readout forgotten. Errors: "Operation out of sequence" (no readout
    // was requested; the lock is not touched), "Failed to get image" (what the buffer then holds is
    // of no use).
    virtual bool getImage(unsigned short* buffer, unsigned size) = 0;

    // Opens or closes the mechanical shutter. RIDGE cameras with a shutter.
    // Errors: "Unsupported operation" (no shutter), "Failed to set shutter".
    virtual bool setShutter(bool open) = 0;

    // Closes the guide relays whose bits are set: 0x01 and 0x02 one axis, 0x04 and 0x08 the other;
    // 0 opens all. When both bits of an axis are set RIDGE and LUMEN cameras take the lower one.
    // Served by RIDGE, HERON and LUMEN cameras with a guide port.
    // Errors: "Unsupported operation" (no guide port), "Failed to set guide relays".
    virtual bool setGuideRelays(unsigned short mask) = 0;

    // General-purpose lines, one bit a line. What a direction bit means is the camera's. *lines
    // holds nothing of use after a failure. Served by RIDGE and LUMEN cameras with such lines.
    // Errors: "Unsupported operation" (no lines), "Failed to set GPIO direction",
    // "Failed to get GPIO", "Failed to set GPIO".
    virtual bool setGPIODirection(unsigned short mask) = 0;
    virtual bool getGPIO(unsigned short* lines) = 0;
    virtual bool setGPIO(unsigned short lines) = 0;

    // Read and write the analogue gain (0 to 63) and offset (0 to 512) of the current readout mode
    // (normal or preview). LUMEN_CAMERA only: on other families both return true, write nothing
    // and leave "Unsupported operation". A transfer that fails in between leaves no text.
    // Errors: "Unsupported operation", "Invalid parameter", "Failed to set gain" (by both: the
    // camera was not ready in 100 tries).
    virtual bool getGain(int* gain, int* offset) = 0;
    virtual bool setGain(int gain, int offset) = 0;

    // How long to wait between startExposure and readCCD for an exposure of `seconds`: the part
    // that the readout request itself adds is taken off. Microseconds. Takes no lock. Meaningful
    // from 0 to 2147 s; time longer exposures by adding up shorter waits. After startExposure(true)
    // the readout request of a HERON_CAMERA adds nothing, and the same is taken off all the same:
    // wait QUICKER_READ_CCD_DELAY longer.
    virtual unsigned delay(double seconds) = 0;

    // The number of pixels that a window's width or height gives when binned; 0 for bin 0. A
    // LUMEN_CAMERA rounds widths up, in 8-bit mode to an even number. Neither takes the lock.
    virtual unsigned imageWidth(unsigned width, unsigned bin) = 0;
    virtual unsigned imageHeight(unsigned height, unsigned bin) = 0;

    // As read by the last open; 0 before.
    virtual unsigned getSerialNumber() = 0;
    virtual unsigned getVersionMajor() = 0;
    virtual unsigned getVersionMinor() = 0;

    // The reason of the last failure; static text, never null, "No error" on a new camera.
    virtual const char* getLastError() = 0;

    // Does not close the camera: call close() first.
    virtual ~TavoCamera();
};

extern "C" {

// TavoCamera::list for callers without C++ names.
TAVO_API int TavoCamera_list(TavoCamera** cameras, int max);

// Deletes a camera made by list; null is ignored. Does not close it.
TAVO_API void TavoCamera_destroy(TavoCamera* camera);
}

// The call trace on standard error is written while both are non-zero. TavoDebug (default 0) is
// the application's switch; TavoDebugOn (default 1) is cleared by the library around polling loops
// and set to 1 after them.
extern TAVO_API unsigned char TavoDebug;
extern TAVO_API unsigned char TavoDebugOn;

// Timeout of bulk transfers in milliseconds, default 30000, read when a camera object is made and
// each time a camera other than a GLINT_CAMERA is opened.
extern TAVO_API int TavoHostBulkTimeout;

// The image loaded into a camera's microcontroller, defined by the application and not by this
// library: records of a length byte, an address (low byte first) and that many bytes, ended by a
// record of length 0. When the application defines none, the image that the library was built
// with serves, or an empty one.
extern TAVO_API const unsigned char FIRMWARE[];

#endif
