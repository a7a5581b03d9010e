// SPDX-License-Identifier: GPL-2.0
/*
 * A stand-in for the router links' driver: its generic netlink family, without links. The interfaces are made by
 * whoever runs the test.
 *
 * The file "t2link" of debugfs tells each link's state and takes commands, one to a write:
 *
 *   set LINK HID PORT FLAGS FSI ADMA    takes this state, and reports it to the group
 *   quiet LINK HID PORT FLAGS FSI ADMA  takes it without a report
 *   flood LINK TIMES                    reports the present state so many times
 */

#include <linux/debugfs.h>
#include <linux/module.h>
#include <linux/mutex.h>
#include <linux/seq_file.h>
#include <linux/slab.h>
#include <net/genetlink.h>

#define LINKS		2
#define COMMAND_LINK	1

enum t2link_attribute {
	ATTR_INDEX = 1,
	ATTR_HID,
	ATTR_PORT,
	ATTR_FLAGS,
	ATTR_FSI,
	ATTR_ADMA,
	ATTR_END
};

struct link {
	u32 values[ATTR_END];	/* as they stand in a report */
	unsigned long queries;
	unsigned long refused;	/* answers that found no room at the asking socket */
};

static DEFINE_MUTEX(links_lock);
static struct link links[LINKS];
static struct dentry *control_file;

static struct genl_family family;

static int put_report(struct sk_buff *message, const struct link *link)
{
	int attribute;

	for (attribute = ATTR_INDEX; attribute < ATTR_END; attribute++)
		if (nla_put_u32(message, attribute, link->values[attribute]))
			return -EMSGSIZE;
	return 0;
}

/* A report, in answer to a query or, without one, to the group. */
static struct sk_buff *make_report(const struct link *link, struct genl_info *query)
{
	struct sk_buff *message = nlmsg_new(ATTR_END * nla_total_size(sizeof(u32)) + GENL_HDRLEN, GFP_KERNEL);
	void *header;

	if (!message)
		return NULL;
	header = genlmsg_put(message, query ? query->snd_portid : 0, query ? query->snd_seq : 0, &family, 0,
			     COMMAND_LINK);
	if (!header || put_report(message, link)) {
		nlmsg_free(message);
		return NULL;
	}
	genlmsg_end(message, header);
	return message;
}

static int answer_query(struct sk_buff *unused, struct genl_info *query)
{
	struct nlattr *index = query->attrs[ATTR_INDEX];
	struct sk_buff *message;
	struct link *link;
	int result;

	if (!index || nla_get_u32(index) >= LINKS)
		return -EINVAL;
	link = &links[nla_get_u32(index)];
	mutex_lock(&links_lock);
	link->queries++;
	message = make_report(link, query);
	result = message ? genlmsg_reply(message, query) : -ENOMEM;
	if (result)
		link->refused++;
	mutex_unlock(&links_lock);
	return result;
}

static const struct nla_policy policy[ATTR_END] = {
	[ATTR_INDEX] = { .type = NLA_U32 },
};

static const struct genl_small_ops operations[] = {
	{ .cmd = COMMAND_LINK, .doit = answer_query },
};

static const struct genl_multicast_group groups[] = {
	{ .name = "notify" },
};

static struct genl_family family = {
	.name = "t2link",
	.version = 1,
	.maxattr = ATTR_END - 1,
	.policy = policy,
	.small_ops = operations,
	.n_small_ops = ARRAY_SIZE(operations),
	.resv_start_op = COMMAND_LINK + 1,
	.mcgrps = groups,
	.n_mcgrps = ARRAY_SIZE(groups),
	.module = THIS_MODULE,
};

/* Nobody may listen, and who listens may be slow: either is none of the driver's business. */
static int report(const struct link *link, u32 times)
{
	while (times--) {
		struct sk_buff *message = make_report(link, NULL);

		if (!message)
			return -ENOMEM;
		genlmsg_multicast(&family, message, 0, 0, GFP_KERNEL);
	}
	return 0;
}

static int run_command(const char *text)
{
	char command[8];
	u32 values[ATTR_END];
	int count = sscanf(text, "%7s %i %i %i %i %i %i", command, &values[ATTR_INDEX], &values[ATTR_HID],
			   &values[ATTR_PORT], &values[ATTR_FLAGS], &values[ATTR_FSI], &values[ATTR_ADMA]);

	if (count < 3 || values[ATTR_INDEX] >= LINKS)
		return -EINVAL;
	if (count == 3 && !strcmp(command, "flood"))
		return report(&links[values[ATTR_INDEX]], values[ATTR_HID]);
	if (count < ATTR_END || (strcmp(command, "set") && strcmp(command, "quiet")))
		return -EINVAL;
	memcpy(links[values[ATTR_INDEX]].values, values, sizeof(values));
	return report(&links[values[ATTR_INDEX]], !strcmp(command, "set"));
}

static ssize_t command_write(struct file *file, const char __user *buffer, size_t size, loff_t *position)
{
	char *text = memdup_user_nul(buffer, min_t(size_t, size, 256));
	int result;

	if (IS_ERR(text))
		return PTR_ERR(text);
	mutex_lock(&links_lock);
	result = run_command(strim(text));
	mutex_unlock(&links_lock);
	kfree(text);
	return result ? result : size;
}

static int state_show(struct seq_file *s, void *unused)
{
	int i;

	mutex_lock(&links_lock);
	seq_printf(s, "listened=%d\n", genl_has_listeners(&family, &init_net, 0));
	for (i = 0; i < LINKS; i++)
		seq_printf(s, "%d hid=0x%x queries=%lu refused=%lu\n", i, links[i].values[ATTR_HID],
			   links[i].queries, links[i].refused);
	mutex_unlock(&links_lock);
	return 0;
}

static int state_open(struct inode *inode, struct file *file)
{
	return single_open(file, state_show, NULL);
}

static const struct file_operations control_operations = {
	.owner = THIS_MODULE,
	.open = state_open,
	.read = seq_read,
	.write = command_write,
	.llseek = seq_lseek,
	.release = single_release,
};

static int __init t2link_init(void)
{
	int result, i;

	for (i = 0; i < LINKS; i++) {
		links[i].values[ATTR_INDEX] = i;
		links[i].values[ATTR_HID] = U32_MAX;
	}
	result = genl_register_family(&family);
	if (!result)
		control_file = debugfs_create_file("t2link", 0600, NULL, NULL, &control_operations);
	return result;
}

static void __exit t2link_exit(void)
{
	debugfs_remove(control_file);
	genl_unregister_family(&family);
}

module_init(t2link_init);
module_exit(t2link_exit);
MODULE_DESCRIPTION("Reports of a Brindlet's router links, for tests");
MODULE_LICENSE("GPL");
