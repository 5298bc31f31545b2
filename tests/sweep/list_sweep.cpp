// SPDX-License-Identifier: LGPL-2.1-or-later
#include "list_sweep.h"

#include "allocator.h"
#include "fake/unit_test.h"
#include "faults.h"
#include "trace_log.h"

#include <array>

namespace tavo::sweep {
namespace {

using test::Call;
using test::Repeat;
using test::usb;

constexpr int kRoom = 3;
constexpr int kCameras = 2;
constexpr std::uint16_t kVendor = 0x1234, kForeignProduct = 0x0001;

std::uint16_t productOf(CAMERA_TYPE type) {
    switch (type) {
    case BASIN_CAMERA: return 0xDF28;
    case RIDGE_CAMERA: return 0xDF2C;
    case HERON_CAMERA: return 0xDF2E;
    case GLINT_CAMERA: return 0x2004;
    case LUMEN_CAMERA: return 0xDF3B;
    }
    return 0;
}

struct Listing {
    bool threw = false;
    int found = 0;
    std::size_t calls = 0, allocations = 0;
    bool struck = false;
    std::optional<Call> struckCall{};
    long left = 0; // beside the objects returned
    int traceBalance = 0;
    bool referenced = true; // every object holds its device, and nobody another
    bool closed = true;     // every object is a closed camera of the family
};

class ListSweep {
public:
    explicit ListSweep(CAMERA_TYPE swept) : type(swept) {
        tally.operation = "list, destroy";
        tally.family = test::familyName(type);
    }

    Tally run() {
        const Listing peace = attempt({});
        tally.calls = peace.calls;
        tally.allocations = peace.allocations;
        expect({}, peace, kCameras);
        for (const bool traced : {false, true})
            for (const Repeat repeat : kRepeats)
                for (const Victim victim : {Victim::call, Victim::allocation})
                    sweep({.victim = victim, .repeat = repeat, .traced = traced});
        return tally;
    }

    // The very first calls of the process: nothing but libusb_init may be asked.
    Tally start() {
        tally.operation = "list (start of libusb)";
        tally.calls = 1;
        for (const test::Fault& fault : kEveryFault) {
            if (fault.error == 0)
                continue;
            const Failure failure{.victim = Victim::call, .number = 1, .fault = fault};
            const Listing listing = attempt(failure);
            ++tally.callFaults;
            expect(failure, listing, 0);
            if (listing.struckCall != Call::init || listing.calls != 1)
                finding(failure, "libusb was asked for more");
        }
        expect({}, attempt({}), kCameras);
        return tally;
    }

private:
    void sweep(Failure failure) {
        for (failure.number = 1;; ++failure.number) {
            bool any = false;
            for (const test::Fault& fault : kEveryFault) {
                failure.fault = fault;
                if (fault.error == 0 || (failure.victim == Victim::allocation && any))
                    continue;
                const Listing listing = attempt(failure);
                if (!listing.struck)
                    continue;
                any = true;
                ++(failure.victim == Victim::call ? tally.callFaults : tally.allocationFaults);
                expect(failure, listing, remaining(failure, listing));
                expect(failure, attempt({}), kCameras); // the next one finds all
            }
            if (!any)
                return;
        }
    }

    // How many cameras are found all the same. Devices are asked in order, camera, foreign, camera,
    // after the list itself; the first allocation is the list's own note.
    static int remaining(const Failure& failure, const Listing& listing) {
        const bool once = failure.repeat == Repeat::once;
        if (failure.victim == Victim::allocation)
            return once && failure.number == 1 ? kCameras : failure.number <= 2 ? 0 : 1;
        if (listing.struckCall == Call::deviceList)
            return 0;
        if (once)
            return failure.number == 3 ? kCameras : 1;
        return failure.number == 2 ? 0 : 1;
    }

    Listing attempt(const Failure& failure) {
        nowTrying("list of " + std::string(tally.family) + ", " + describe(failure));
        Listing listing;
        usb().reset();
        usb().countOnly(1000);
        usb().plug(
            {{kVendor, productOf(type)}, {kVendor, kForeignProduct}, {kVendor, productOf(type)}});
        const std::size_t first = devices;
        devices += 3;
        usb().failCall(failure.victim == Victim::call ? failure.number : 0, failure.fault,
                       failure.repeat);
        std::array<TavoCamera*, kRoom> cameras{};
        {
            const CountedTrace trace(failure.traced);
            const WatchedMemory memory(failure.victim == Victim::allocation ? failure.number : 0,
                                       failure.repeat);
            try {
                listing.found = TavoCamera::list(cameras.data(), kRoom);
            } catch (...) {
                listing.threw = true;
            }
            listing.allocations = memory.asked();
            listing.traceBalance = trace.balance();
            listing.struck = memory.refused() > 0;
            look(listing, cameras, first);
            for (TavoCamera* camera : cameras)
                TavoCamera_destroy(camera);
            listing.left = memory.left();
        }
        listing.calls = usb().callCount();
        listing.struckCall = usb().struck();
        listing.struck = listing.struck || listing.struckCall.has_value();
        return listing;
    }

    void look(Listing& listing, const std::array<TavoCamera*, kRoom>& cameras, std::size_t first) {
        int references = 0;
        for (std::size_t i = 0; i < 3; ++i)
            references += usb().device(first + i)->references;
        const bool listed = listing.found > 0 || references > 0;
        listing.referenced = references == (listed ? 3 : 0) + listing.found;
        for (int i = 0; i < kRoom; ++i) {
            auto* camera = dynamic_cast<TavoCameraImpl*>(cameras[static_cast<std::size_t>(i)]);
            listing.closed = listing.closed && (camera != nullptr) == (i < listing.found) &&
                             (!camera || !test::CameraPeer(*camera).handle());
        }
    }

    void expect(const Failure& failure, const Listing& listing, int cameras) {
        ++(cameras == kCameras ? tally.tolerated : tally.refused);
        if (listing.threw)
            finding(failure, "threw");
        if (listing.found != cameras)
            finding(failure, std::to_string(listing.found) + " cameras instead of " +
                                 std::to_string(cameras));
        if (!listing.referenced || !listing.closed)
            finding(failure, "the devices and their objects do not fit");
        // Device lists are kept on purpose, with a note each.
        if (listing.left > 1)
            finding(failure, std::to_string(listing.left) + " allocations are left");
        // The line of a list that cannot be had has no end, and hides the exit behind it.
        const bool unended = failure.traced && listing.struckCall == Call::deviceList;
        if (listing.traceBalance != (unended ? 1 : 0))
            finding(failure, "the trace is out of balance");
    }

    void finding(const Failure& failure, const std::string& what) {
        report(tally,
               "list of " + std::string(tally.family) + ", " + describe(failure) + ": " + what);
    }

    CAMERA_TYPE type;
    Tally tally;
    static std::size_t devices; // made by the fake so far
};

std::size_t ListSweep::devices = 0;

} // namespace

Tally sweepStart() {
    return ListSweep(RIDGE_CAMERA).start();
}

Tally sweepList(CAMERA_TYPE type) {
    return ListSweep(type).run();
}

} // namespace tavo::sweep
