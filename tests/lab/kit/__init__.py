"""What the plays of the lab are made of: standard library only, nothing of the product's code."""
