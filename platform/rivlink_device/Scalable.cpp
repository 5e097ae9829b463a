#include "platform/rivlink_device/Scalable.h"

#include "platform/kor/Mutex.h"
#include "platform/rivlink_device/ScalingInterface.h"

#include <atomic>

namespace Rvl {

struct IScalable::Private
{
    mutable Kor::CMutex mutex;
    std::shared_ptr<IScalingInterface> scaling;
    std::shared_ptr<IScalingInterface> defaultScaling;
    bool on = true;
    /// Whether there is a scaling that is on: without one, a value is converted without the mutex.
    std::atomic<bool> isActive{false};

    /// With the mutex: to be called after each change.
    void changed() { isActive = on && scaling; }

    /// Shared with the caller, so that a conversion in progress is not affected by a change of the scaling.
    std::shared_ptr<IScalingInterface> active() const
    {
        if (!isActive) {
            return nullptr;
        }
        Kor::CGuard guard(mutex);
        return on ? scaling : nullptr;
    }
};

IScalable::IScalable() : private_(std::make_unique<Private>()) {}

IScalable::~IScalable() = default;

void IScalable::setScaling(IScalingInterface* scaling)
{
    std::shared_ptr<IScalingInterface> owned(scaling);
    Kor::CGuard guard(private_->mutex);
    private_->scaling = owned;
    if (!private_->defaultScaling) {
        private_->defaultScaling = owned;
    }
    private_->changed();
}

void IScalable::removeScaling()
{
    Kor::CGuard guard(private_->mutex);
    private_->scaling.reset();
    private_->changed();
}

const IScalingInterface* IScalable::scaling() const
{
    Kor::CGuard guard(private_->mutex);
    return private_->scaling.get();
}

void IScalable::setSwScalingOn(bool on)
{
    Kor::CGuard guard(private_->mutex);
    private_->on = on;
    private_->changed();
}

void IScalable::resetDefaultScaling()
{
    Kor::CGuard guard(private_->mutex);
    if (private_->defaultScaling) {
        private_->scaling = private_->defaultScaling;
    }
    private_->changed();
}

double IScalable::getScaledValue(double unscaledValue) const
{
    const auto active = private_->active();
    return active ? active->scaled(unscaledValue) : unscaledValue;
}

double IScalable::getUnscaledValue(double scaledValue) const
{
    const auto active = private_->active();
    return active ? active->unscaled(scaledValue) : scaledValue;
}

std::string IScalable::unit() const
{
    Kor::CGuard guard(private_->mutex);
    return private_->scaling ? private_->scaling->unit() : std::string();
}

} // namespace Rvl
