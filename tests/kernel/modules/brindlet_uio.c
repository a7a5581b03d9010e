// SPDX-License-Identifier: GPL-2.0
/*
 * A stand-in for the box's FPGA: its register blocks as UIO devices in plain memory, and a thread that plays the
 * hardware behind them.
 *
 * Nothing tells the thread of an access, it looks at the memory once a millisecond. What it can play so is the
 * interrupt logic (status, enable, acknowledge), the status words, and the change-over. It can't play the indirect
 * pair of address and data: a read gives what was last put there.
 *
 * The file "brindlet" of debugfs tells each block's state, and takes commands, one to a write:
 *
 *   raise IDENTITY BITS [TIMES [DATA]]  raises interrupts, again after each acknowledgement; before it puts DATA
 *                                       into the data register, for the handler to read
 *   notify IDENTITY TIMES               as many events with nothing pending
 *   status IDENTITY BITS                sets the status register
 *   hold, auto                          lets no change-over end from now on; ends it, and later ones by themselves
 */

#include <linux/bitops.h>
#include <linux/debugfs.h>
#include <linux/delay.h>
#include <linux/device.h>
#include <linux/err.h>
#include <linux/kthread.h>
#include <linux/module.h>
#include <linux/mutex.h>
#include <linux/seq_file.h>
#include <linux/slab.h>
#include <linux/uio_driver.h>

#define REG_IDENTITY	0x04
#define REG_STATUS	0x18	/* of interrupts; the build number in block "0010" */
#define REG_DATA	0x20
#define REG_ADDRESS	0x24
#define REG_ENABLE	0x30
#define REG_ACKNOWLEDGE	0x34
#define REG_CONTROL	0x38
#define REG_STATE	0x3c
#define REG_END		0x40

#define SYNC_REQUEST	0x20u	/* of block "0003"'s control register */
#define SYNC_IN_HAND	0x08u	/* of its state register */
#define END_OF_SYNC	0x01u	/* of its interrupts */
#define SYNC_TICKS	2

/*
 * The application writes the control register whole and never reads it, so this bit, which it doesn't use, is there
 * until the next write: without it a fall and a rise between two looks would go unseen.
 */
#define CONTROL_SEEN	0x80000000u

struct block {
	/* What the device tree would say. */
	const char *identity;
	u32 offset;
	bool whole_page;	/* the size of its map; else no more than the registers */
	bool interrupts;
	u32 reset_register;
	u32 reset_value;

	struct uio_info info;
	void *page;
	bool registered;

	u32 pending;
	u32 line;		/* pending and enabled, as of the last look */
	u32 wanted;		/* to be raised when nothing is pending */
	u32 storm;		/* bits to be wanted again, this many times */
	u32 storm_left;
	bool has_data;
	u32 data;
	unsigned long raised;
	unsigned long acknowledged;
};

/* Names in either case, as firmware writers have them; no two maps are alike. */
static struct block blocks[] = {
	{ .identity = "unrelated", .whole_page = true, .interrupts = true },
	{ .identity = "0010", .reset_register = REG_STATUS, .reset_value = 4711 },
	{ .identity = "0003", .offset = 0x40, .interrupts = true },
	{ .identity = "0004", .whole_page = true, .interrupts = true },
	{ .identity = "0007" },
	{ .identity = "0008", .offset = 0xfc0, .whole_page = true, .interrupts = true },
	{ .identity = "0009", .whole_page = true },
	{ .identity = "000a", .interrupts = true },
	{ .identity = "000c", .offset = 0x100, .reset_register = REG_IDENTITY, .reset_value = 0xabcd04 },
	{ .identity = "000D", .whole_page = true, .reset_register = REG_IDENTITY, .reset_value = 0x5 },
};

static char *without = "";
module_param(without, charp, 0444);
MODULE_PARM_DESC(without, "identity of a block that is missing");

static DEFINE_MUTEX(play_lock);
static struct device *parent;
static struct dentry *control_file;
static struct task_struct *player;

static bool control_written;	/* since the last change-over began or ended */
static bool sync_in_hand;
static bool sync_held;
static unsigned int sync_ticks;
static unsigned long syncs;

static u32 *reg(struct block *b, u32 offset)
{
	return b->page + b->offset + offset;
}

static u32 peek(struct block *b, u32 offset)
{
	return READ_ONCE(*reg(b, offset));
}

static void poke(struct block *b, u32 offset, u32 value)
{
	WRITE_ONCE(*reg(b, offset), value);
}

static struct block *find_block(const char *identity)
{
	size_t i;

	for (i = 0; i < ARRAY_SIZE(blocks); i++)
		if (blocks[i].registered && !strcasecmp(blocks[i].identity, identity))
			return &blocks[i];
	return NULL;
}

static void end_sync(struct block *b)
{
	sync_in_hand = false;
	control_written = false;
	syncs++;
	poke(b, REG_STATE, 0);
	b->wanted |= END_OF_SYNC;
}

static void play_sync(struct block *b)
{
	u32 control = peek(b, REG_CONTROL);

	if (!(control & CONTROL_SEEN) && cmpxchg(reg(b, REG_CONTROL), control, control | CONTROL_SEEN) == control)
		control_written = true;

	if (sync_in_hand) {
		if (!sync_held && ++sync_ticks >= SYNC_TICKS)
			end_sync(b);
	} else if (control_written && control & SYNC_REQUEST) {
		sync_in_hand = true;
		sync_ticks = 0;
		control_written = false;
		poke(b, REG_STATE, SYNC_IN_HAND);
	}
}

/*
 * An interrupt comes only when all before it are acknowledged: as the acknowledgement takes a look to be seen, the
 * handler would find an old one once more beside a new one.
 */
static void play_interrupts(struct block *b)
{
	u32 acknowledged = xchg(reg(b, REG_ACKNOWLEDGE), 0) & b->pending;
	u32 line;

	b->acknowledged += hweight32(acknowledged);
	b->pending &= ~acknowledged;
	b->line &= ~acknowledged;
	if (!b->pending && !b->wanted && b->storm_left) {
		b->storm_left--;
		b->wanted = b->storm;
		if (b->has_data)
			poke(b, REG_DATA, b->data);
	}
	if (!b->pending) {
		b->pending = b->wanted;
		b->wanted = 0;
		b->raised += hweight32(b->pending);
	}
	poke(b, REG_STATUS, b->pending);

	line = b->pending & peek(b, REG_ENABLE);
	if (line & ~b->line)
		uio_event_notify(&b->info);
	b->line = line;
}

static int play(void *unused)
{
	struct block *adma = find_block("0003");
	size_t i;

	while (!kthread_should_stop()) {
		mutex_lock(&play_lock);
		if (adma)
			play_sync(adma);
		for (i = 0; i < ARRAY_SIZE(blocks); i++)
			if (blocks[i].registered && blocks[i].interrupts)
				play_interrupts(&blocks[i]);
		mutex_unlock(&play_lock);
		usleep_range(900, 1100);
	}
	return 0;
}

static int state_show(struct seq_file *s, void *unused)
{
	size_t i;

	mutex_lock(&play_lock);
	seq_printf(s, "all syncs=%lu in_hand=%d\n", syncs, sync_in_hand);
	for (i = 0; i < ARRAY_SIZE(blocks); i++) {
		struct block *b = &blocks[i];

		if (!b->registered)
			continue;
		seq_printf(s, "%s pending=0x%x enable=0x%x control=0x%x data=0x%x address=0x%x raised=%lu acked=%lu busy=%d\n",
			   b->identity, b->pending, peek(b, REG_ENABLE), peek(b, REG_CONTROL) & ~CONTROL_SEEN,
			   peek(b, REG_DATA), peek(b, REG_ADDRESS), b->raised, b->acknowledged,
			   b->pending || b->wanted || b->storm_left);
	}
	mutex_unlock(&play_lock);
	return 0;
}

static int command_raise(const char *arguments)
{
	char identity[16];
	u32 bits, times = 1, data;
	int count = sscanf(arguments, "%15s %i %i %i", identity, &bits, &times, &data);
	struct block *b = count >= 2 ? find_block(identity) : NULL;

	if (!b || !b->interrupts)
		return -EINVAL;
	b->storm = bits;
	b->storm_left = times;
	b->has_data = count == 4;
	b->data = data;
	return 0;
}

static int command_notify(const char *arguments)
{
	char identity[16];
	u32 times;
	struct block *b = sscanf(arguments, "%15s %i", identity, &times) == 2 ? find_block(identity) : NULL;

	if (!b || !b->interrupts)
		return -EINVAL;
	while (times--)
		uio_event_notify(&b->info);
	return 0;
}

static int command_status(const char *arguments)
{
	char identity[16];
	u32 value;
	struct block *b = sscanf(arguments, "%15s %i", identity, &value) == 2 ? find_block(identity) : NULL;

	if (!b)
		return -EINVAL;
	poke(b, REG_STATE, value);
	return 0;
}

static int run_command(const char *text)
{
	if (!strncmp(text, "raise ", 6))
		return command_raise(text + 6);
	if (!strncmp(text, "notify ", 7))
		return command_notify(text + 7);
	if (!strncmp(text, "status ", 7))
		return command_status(text + 7);
	if (strcmp(text, "hold") && strcmp(text, "auto"))
		return -EINVAL;
	sync_held = !strcmp(text, "hold");
	return 0;
}

static ssize_t command_write(struct file *file, const char __user *buffer, size_t size, loff_t *position)
{
	char *text = memdup_user_nul(buffer, min_t(size_t, size, 256));
	int result;

	if (IS_ERR(text))
		return PTR_ERR(text);
	mutex_lock(&play_lock);
	result = run_command(strim(text));
	mutex_unlock(&play_lock);
	kfree(text);
	return result ? result : size;
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

static int add_block(struct block *b)
{
	struct uio_mem *map = &b->info.mem[0];
	int result;

	b->page = (void *)get_zeroed_page(GFP_KERNEL);
	if (!b->page)
		return -ENOMEM;
	if (b->reset_register)
		poke(b, b->reset_register, b->reset_value);
	map->name = "registers";
	map->addr = (phys_addr_t)(unsigned long)b->page;
	map->offs = b->offset;
	map->size = b->whole_page ? PAGE_SIZE : b->offset + REG_END;
	map->memtype = UIO_MEM_LOGICAL;
	b->info.name = b->identity;
	b->info.version = "1";
	b->info.irq = b->interrupts ? UIO_IRQ_CUSTOM : UIO_IRQ_NONE;
	result = uio_register_device(parent, &b->info);
	b->registered = !result;
	return result;
}

static void remove_all(void)
{
	size_t i;

	if (!IS_ERR_OR_NULL(player))
		kthread_stop(player);
	debugfs_remove(control_file);
	for (i = 0; i < ARRAY_SIZE(blocks); i++) {
		if (blocks[i].registered)
			uio_unregister_device(&blocks[i].info);
		free_page((unsigned long)blocks[i].page);
	}
	root_device_unregister(parent);
}

static int __init brindlet_init(void)
{
	int result = 0;
	size_t i;

	parent = root_device_register("brindlet");
	if (IS_ERR(parent))
		return PTR_ERR(parent);
	for (i = 0; i < ARRAY_SIZE(blocks) && !result; i++)
		if (strcasecmp(blocks[i].identity, without))
			result = add_block(&blocks[i]);
	if (!result) {
		control_file = debugfs_create_file("brindlet", 0600, NULL, NULL, &control_operations);
		player = kthread_run(play, NULL, "brindlet");
		result = PTR_ERR_OR_ZERO(player);
	}
	if (result)
		remove_all();
	return result;
}

static void __exit brindlet_exit(void)
{
	remove_all();
}

module_init(brindlet_init);
module_exit(brindlet_exit);
MODULE_DESCRIPTION("Register blocks of a Brindlet in plain memory, for tests");
MODULE_LICENSE("GPL");
