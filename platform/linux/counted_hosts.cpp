#include "platform/linux/counted_hosts.h"

#include <cstring>
#include <endian.h>
#include <libmnl/libmnl.h>
#include <linux/netfilter/nf_tables.h>
#include <linux/netfilter/nfnetlink.h>
#include <sys/socket.h>

counted_host counted_hosts[MOST_COUNTED_HOSTS];
size_t counted_host_num;

// Where a host's search begins: its number in `counted_hosts`, counted from one, in the first free place from there on.
constexpr unsigned PLACE_BITS = 11;
constexpr unsigned PLACES = 1U << PLACE_BITS;
static uint16_t places[PLACES];
static_assert(PLACES >= 3 * MOST_COUNTED_HOSTS / 2, "a search must soon meet a free place");

void forget_hosts()
{
    counted_host_num = 0;
    memset(places, 0, sizeof places);
}

// Neighbouring addresses differ in the first or the last bits, as the byte order has it; the product's upper bits
// depend on all of them.
static unsigned first_place(uint64_t id)
{
    constexpr uint32_t GOLDEN_RATIO = 0x9e3779b1;
    return static_cast<uint32_t>(id) * GOLDEN_RATIO >> (32 - PLACE_BITS);
}

static counted_host *host_with(uint64_t id)
{
    unsigned place = first_place(id);
    for (; places[place] != 0; place = (place + 1) % PLACES)
        if (counted_hosts[places[place] - 1].id == id)
            return &counted_hosts[places[place] - 1];
    if (counted_host_num == MOST_COUNTED_HOSTS)
        return nullptr;
    counted_hosts[counted_host_num] = {.id = id, .bytes = {}};
    places[place] = static_cast<uint16_t>(counted_host_num + 1);
    return &counted_hosts[counted_host_num++];
}

// ---- reading a set ----

const counted_set counted_sets[COUNTED_SETS] = {
    {.name = "up", .bytes = &users_info::up_bytes, .family = AF_INET},
    {.name = "down", .bytes = &users_info::down_bytes, .family = AF_INET},
    {.name = "up6", .bytes = &users_info::up_bytes, .family = AF_INET6},
    {.name = "down6", .bytes = &users_info::down_bytes, .family = AF_INET6},
};

// The attribute of this type inside `nest`; null: none. By hand, since the library's way costs two calls for each
// attribute, five times an element.
static const nlattr *inner(const nlattr *nest, unsigned type)
{
    const char *at = nest == nullptr ? nullptr : static_cast<const char *>(mnl_attr_get_payload(nest));
    size_t left = nest == nullptr ? 0 : mnl_attr_get_payload_len(nest);
    while (left >= sizeof(nlattr)) {
        const nlattr *const attribute = static_cast<const nlattr *>(static_cast<const void *>(at));
        const size_t length = attribute->nla_len;
        if (length < sizeof *attribute || length > left)
            return nullptr;
        if ((attribute->nla_type & NLA_TYPE_MASK) == type)
            return attribute;
        const size_t step = (length + NLA_ALIGNTO - 1) / NLA_ALIGNTO * NLA_ALIGNTO;
        if (step > left)
            return nullptr;
        at += step;
        left -= step;
    }
    return nullptr;
}

static bool read_element(const nlattr *element, uint32_t *key, uint64_t *bytes)
{
    const nlattr *const value = inner(inner(element, NFTA_SET_ELEM_KEY), NFTA_DATA_VALUE);
    const nlattr *const counter = inner(inner(element, NFTA_SET_ELEM_EXPR), NFTA_EXPR_DATA);
    const nlattr *const counted = inner(counter, NFTA_COUNTER_BYTES);
    if (value == nullptr || mnl_attr_get_payload_len(value) != sizeof *key || counted == nullptr)
        return false;
    *key = mnl_attr_get_u32(value);
    *bytes = be64toh(mnl_attr_get_u64(counted));
    return true;
}

static int take_element(const nlattr *element, void *context)
{
    const counted_set *const set = static_cast<const counted_set *>(context);
    uint32_t key = 0;
    uint64_t bytes = 0;
    counted_host *const host = read_element(element, &key, &bytes) ? host_with((set->family << 32U) | key) : nullptr;
    if (host != nullptr)
        host->bytes.*(set->bytes) = bytes;
    return MNL_CB_OK;
}

static int take_attribute(const nlattr *attribute, void *context)
{
    if (mnl_attr_get_type(attribute) == NFTA_SET_ELEM_LIST_ELEMENTS)
        mnl_attr_parse_nested(attribute, take_element, context);
    return MNL_CB_OK;
}

int take_counted_message(const nlmsghdr *message, void *context)
{
    return mnl_attr_parse(message, sizeof(nfgenmsg), take_attribute, context);
}
