#pragma once

// Whatever puts the floating panel on screen: near the pointer, with or without the keyboard.
class PanelPresenter
{
public:
    virtual ~PanelPresenter() = default;

    // makeKey: the panel takes the keyboard (typing); without it the frontmost application keeps it.
    virtual void showPanel(bool makeKey) = 0;
};
