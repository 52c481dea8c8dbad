#pragma once

/// The address of the product's home page.
inline constexpr char kHomePage[] = "https://kestrineresearch.com/orvane/";
