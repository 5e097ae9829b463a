#include "platform/rivlink_common/Factory.h"

namespace Rvl {

IFactory::IFactory() = default;
IFactory::~IFactory() = default;
IFactory::IFactory(const IFactory&) = default;
IFactory& IFactory::operator=(const IFactory&) = default;

} // namespace Rvl
