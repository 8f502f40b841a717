// SPDX-License-Identifier: GPL-2.0
/* A SPI controller whose wire is a mailbox in memory that the test has mapped too: the chips behind
 * it are played there. chips.py has the other end. */
#include <linux/io.h>
#include <linux/ktime.h>
#include <linux/delay.h>
#include <linux/module.h>
#include <linux/of.h>
#include <linux/platform_device.h>
#include <linux/spi/spi.h>

enum {
	kPresent = 0x00, /* not 0: somebody answers; else each transfer fails at once */
	kSent = 0x04,	 /* counts the transfers sent ... */
	kAnswered = 0x08, /* ... and those answered */
	kLength = 0x0c,
	kSpeed = 0x10,
	kMode = 0x14,
	kBits = 0x18,
	kToChips = 0x1000,
	kFromChips = 0x2000,
	kMaxLength = 0x1000,
	kPatienceMs = 2000,
};

static int transfer_one(struct spi_controller *controller, struct spi_device *spi,
			struct spi_transfer *transfer)
{
	void __iomem *mailbox = *(void __iomem **)spi_controller_get_devdata(controller);
	u32 number = readl(mailbox + kSent) + 1;
	ktime_t end = ktime_add_ms(ktime_get(), kPatienceMs);

	if (!readl(mailbox + kPresent))
		return -EIO;
	if (transfer->tx_buf)
		memcpy_toio(mailbox + kToChips, transfer->tx_buf, transfer->len);
	else
		memset_io(mailbox + kToChips, 0, transfer->len);
	writel(transfer->len, mailbox + kLength);
	writel(transfer->speed_hz, mailbox + kSpeed);
	writel(spi->mode, mailbox + kMode);
	writel(transfer->bits_per_word, mailbox + kBits);
	writel(number, mailbox + kSent);
	while (readl(mailbox + kAnswered) != number) {
		if (ktime_after(ktime_get(), end))
			return -ETIMEDOUT;
		usleep_range(20, 60);
	}
	if (transfer->rx_buf)
		memcpy_fromio(transfer->rx_buf, mailbox + kFromChips, transfer->len);
	return 0;
}

static size_t max_length(struct spi_device *spi)
{
	return kMaxLength;
}

static int probe(struct platform_device *device)
{
	void __iomem *mailbox = devm_platform_ioremap_resource(device, 0);
	struct spi_controller *controller = devm_spi_alloc_master(&device->dev, sizeof(mailbox));

	if (IS_ERR(mailbox))
		return PTR_ERR(mailbox);
	if (!controller)
		return -ENOMEM;
	*(void __iomem **)spi_controller_get_devdata(controller) = mailbox;
	controller->dev.of_node = device->dev.of_node;
	controller->bus_num = -1; /* taken from the alias in the device tree */
	controller->num_chipselect = 1;
	controller->mode_bits = SPI_CPOL | SPI_CPHA | SPI_LSB_FIRST;
	controller->bits_per_word_mask = SPI_BPW_RANGE_MASK(4, 32);
	controller->transfer_one = transfer_one;
	controller->max_transfer_size = max_length;
	return devm_spi_register_controller(&device->dev, controller);
}

static const struct of_device_id of_match[] = { { .compatible = "board-test,spi-mailbox" }, {} };
MODULE_DEVICE_TABLE(of, of_match);

static struct platform_driver spi_mailbox_driver = {
	.probe = probe,
	.driver = { .name = "spi-mailbox", .of_match_table = of_match },
};
module_platform_driver(spi_mailbox_driver);
MODULE_LICENSE("GPL");
