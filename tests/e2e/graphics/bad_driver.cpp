// A Vulkan layer that does what bad drivers do, where the environment says: QUILLO_DRIVER is "PLACE HOW", the place one
// of instance, device, memory, shader, and how one of fails, crashes, hangs.

#include <vulkan/vk_layer.h>

#include <cstdlib>
#include <cstring>
#include <string_view>

#include <unistd.h>

namespace {

PFN_vkGetInstanceProcAddr nextInstance;
PFN_vkGetDeviceProcAddr nextDevice;

// Whether the call is to fail.
bool misbehaves(std::string_view place)
{
    const char* const value = std::getenv("QUILLO_DRIVER");
    const std::string_view order = value ? value : "";
    if (!order.starts_with(place))
        return false;
    if (order.ends_with("crashes"))
        std::abort();
    while (order.ends_with("hangs"))
        pause();
    return true;
}

template<typename Info> Info* chainOf(const void* next, VkStructureType type)
{
    auto* info = static_cast<Info*>(const_cast<void*>(next));
    while (info && (info->sType != type || info->function != VK_LAYER_LINK_INFO))
        info = static_cast<Info*>(const_cast<void*>(info->pNext));
    return info;
}

VkResult createInstance(const VkInstanceCreateInfo* info, const VkAllocationCallbacks* memory, VkInstance* instance)
{
    auto* const chain = chainOf<VkLayerInstanceCreateInfo>(info->pNext, VK_STRUCTURE_TYPE_LOADER_INSTANCE_CREATE_INFO);
    nextInstance = chain->u.pLayerInfo->pfnNextGetInstanceProcAddr;
    chain->u.pLayerInfo = chain->u.pLayerInfo->pNext;
    if (misbehaves("instance"))
        return VK_ERROR_INITIALIZATION_FAILED;
    return reinterpret_cast<PFN_vkCreateInstance>(nextInstance(nullptr, "vkCreateInstance"))(info, memory, instance);
}

VkResult createDevice(
    VkPhysicalDevice physical, const VkDeviceCreateInfo* info, const VkAllocationCallbacks* memory, VkDevice* device)
{
    auto* const chain = chainOf<VkLayerDeviceCreateInfo>(info->pNext, VK_STRUCTURE_TYPE_LOADER_DEVICE_CREATE_INFO);
    nextDevice = chain->u.pLayerInfo->pfnNextGetDeviceProcAddr;
    const auto instanceFunction = chain->u.pLayerInfo->pfnNextGetInstanceProcAddr;
    chain->u.pLayerInfo = chain->u.pLayerInfo->pNext;
    if (misbehaves("device"))
        return VK_ERROR_INITIALIZATION_FAILED;
    return reinterpret_cast<PFN_vkCreateDevice>(instanceFunction(nullptr, "vkCreateDevice"))(
        physical, info, memory, device);
}

VkResult allocateMemory(
    VkDevice device, const VkMemoryAllocateInfo* info, const VkAllocationCallbacks* memory, VkDeviceMemory* allocated)
{
    if (misbehaves("memory"))
        return VK_ERROR_OUT_OF_DEVICE_MEMORY;
    return reinterpret_cast<PFN_vkAllocateMemory>(nextDevice(device, "vkAllocateMemory"))(
        device, info, memory, allocated);
}

VkResult createPipelines(VkDevice device, VkPipelineCache cache, uint32_t count,
    const VkComputePipelineCreateInfo* info, const VkAllocationCallbacks* memory, VkPipeline* pipelines)
{
    if (misbehaves("shader"))
        return VK_ERROR_INVALID_SHADER_NV;
    return reinterpret_cast<PFN_vkCreateComputePipelines>(nextDevice(device, "vkCreateComputePipelines"))(
        device, cache, count, info, memory, pipelines);
}

PFN_vkVoidFunction VKAPI_CALL getDeviceFunction(VkDevice device, const char* name);

PFN_vkVoidFunction ownFunction(const char* name)
{
    const struct {
        const char* name;
        PFN_vkVoidFunction function;
    } own[] = {
        {"vkCreateInstance", reinterpret_cast<PFN_vkVoidFunction>(createInstance)},
        {"vkCreateDevice", reinterpret_cast<PFN_vkVoidFunction>(createDevice)},
        {"vkAllocateMemory", reinterpret_cast<PFN_vkVoidFunction>(allocateMemory)},
        {"vkCreateComputePipelines", reinterpret_cast<PFN_vkVoidFunction>(createPipelines)},
        {"vkGetDeviceProcAddr", reinterpret_cast<PFN_vkVoidFunction>(getDeviceFunction)},
    };
    for (const auto& entry : own)
        if (std::strcmp(name, entry.name) == 0)
            return entry.function;
    return nullptr;
}

PFN_vkVoidFunction VKAPI_CALL getDeviceFunction(VkDevice device, const char* name)
{
    const PFN_vkVoidFunction own = ownFunction(name);
    return own ? own : nextDevice(device, name);
}

PFN_vkVoidFunction VKAPI_CALL getInstanceFunction(VkInstance instance, const char* name)
{
    const PFN_vkVoidFunction own = ownFunction(name);
    return own ? own : nextInstance(instance, name);
}

} // namespace

extern "C" VKAPI_ATTR VkResult VKAPI_CALL vkNegotiateLoaderLayerInterfaceVersion(VkNegotiateLayerInterface* answer)
{
    answer->loaderLayerInterfaceVersion = 2;
    answer->pfnGetInstanceProcAddr = getInstanceFunction;
    answer->pfnGetDeviceProcAddr = getDeviceFunction;
    answer->pfnGetPhysicalDeviceProcAddr = nullptr;
    return VK_SUCCESS;
}
